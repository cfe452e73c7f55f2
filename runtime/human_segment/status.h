// SPDX-License-Identifier: MIT
#pragma once

#include "common/status.h"

namespace quorin::hs {

using quorin::Failure;
using quorin::kInvalidArgument, quorin::kModelInvalid, quorin::kModelUnreadable,
    quorin::kNetworkFailed, quorin::kOk, quorin::kOutOfMemory, quorin::kProcessFailed;
using quorin::Status;

}  // namespace quorin::hs
