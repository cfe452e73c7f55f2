// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <opencv2/core/mat.hpp>

#include "quorin/quorin_kernel.h"

// What every module wrapper does the same way.
namespace THIRD_LIBRARY_IMPORT {

// The model directory followed by a model's relative path. Most relative paths begin with "/";
// for those that do not, a separator is put in when the directory lacks one, so a directory
// given without its trailing separator still names the file.
std::string JoinModelPath(const std::string& directory, const char* relative);

// The record every module's create call gets: the kernel's device type, 0, 4.
QuorinModuleConfig DefaultModuleConfig();

// The line written after every creation attempt of a module that loads a model, successful or
// not, with the model path; hosts and support scripts look for it.
void LogModelCreation(const std::string& modelPath);

// A level-4 line for arguments a wrapper cannot hand to the runtime.
void LogUnusableImages(const char* wrapper);

// Copies a module's own single-channel frame into `result`, which takes the frame's size
// (reallocated only when its size or type differs). False for a frame without pixels, with a
// size below 1 or with rows shorter than its width.
bool CopyModuleFrame(const QuorinFrame* frame, cv::Mat& result);

}  // namespace THIRD_LIBRARY_IMPORT
