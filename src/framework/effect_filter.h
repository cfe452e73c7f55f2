// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "framework/filter_info.h"
#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

namespace vorta {

// The name under which an AI result object travels from one filter (or the host) to another.
inline constexpr const char* kAiDataTransferName = kKAZAiDataTransferName;

// The abstract effect filter. The virtual slots are in the order the exported functions expect;
// keep it.
class NLEEffectFilter {
 public:
  explicit NLEEffectFilter(FilterInfoPtr info);
  NLEEffectFilter(const NLEEffectFilter&) = delete;
  NLEEffectFilter& operator=(const NLEEffectFilter&) = delete;

  virtual ~NLEEffectFilter();                                                            // slot 0
  virtual int32_t SetParameter(const char* name, uint32_t kind, NLEParamValue value);    // 1
  virtual int32_t GetParameter(const char* name, uint32_t* kind, NLEParamValue* value);  // 2
  // Slot 3. Images destination first, source last. 0 on success; 1 without touching the
  // destination when the source or destination pointer is null.
  virtual int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                            int32_t dstStride, unsigned char* aux, int32_t auxWidth,
                            int32_t auxHeight, int32_t auxStride, const unsigned char* src,
                            int32_t srcWidth, int32_t srcHeight, int32_t srcStride) = 0;
  // Slot 4. The base serves only four channels everywhere, through slot 3.
  virtual int32_t TransformChannels(unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                                    int32_t dstStride, unsigned char* aux, int32_t auxWidth,
                                    int32_t auxHeight, int32_t auxStride, const unsigned char* src,
                                    int32_t srcWidth, int32_t srcHeight, int32_t srcStride,
                                    int32_t dstChannels, int32_t auxChannels, int32_t srcChannels);
  virtual int32_t SetRegion(float x, float y, float w, float h);         // slot 5
  virtual bool QueryState();                                             // slot 6
  virtual void SetFlags(bool first, bool second);                        // slot 7
  virtual int32_t SetTotalTime(int32_t totalTime);                       // slot 8
  virtual int32_t SetCurrentTime(int32_t currentTime);                   // slot 9
  virtual int32_t SetFrameRate(int64_t numerator, int64_t denominator);  // slot 10

  // Copies the stored value of `name` into `value`; false (and `value` untouched) when absent.
  bool GetParameterValue(const char* name, NLEParamValue& value) const;
  // Looks `name` up, then the same name with spaces as underscores ("Edge Thickness", then
  // "Edge_Thickness"), as descriptions and hosts spell parameters differently.
  bool GetParameterValueSpacedOrUnderscore(const std::string& name, NLEParamValue& value) const;

  const char* GetGUID() const { return guid_.c_str(); }
  const float* Region() const { return region_; }
  bool FirstFlag() const { return flags_[0]; }
  bool SecondFlag() const { return flags_[1]; }
  int32_t TotalTime() const { return totalTime_; }
  int32_t CurrentTime() const { return currentTime_; }
  int64_t FrameRateNumerator() const { return frameRateNum_; }
  int64_t FrameRateDenominator() const { return frameRateDen_; }

 private:
  std::map<std::string, std::shared_ptr<NLEFilterParams>> params_;
  float region_[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  bool flags_[2] = {false, false};
  int32_t totalTime_ = 0;
  int32_t currentTime_ = 0;
  int64_t frameRateNum_ = 25;
  int64_t frameRateDen_ = 1;
  std::string guid_;
};

// The base of every effect: adds the borrowed AI result object handed over under
// "ObjectAiDataTransferPtr". The filter never frees it.
class NLEAIEffectFilter : public NLEEffectFilter {
 public:
  explicit NLEAIEffectFilter(FilterInfoPtr info);

  int32_t SetParameter(const char* name, uint32_t kind, NLEParamValue value) override;
  int32_t GetParameter(const char* name, uint32_t* kind, NLEParamValue* value) override;
  // Slot 11. Analysis filters hand out their held result; the base has none and answers 0.
  virtual int32_t GetAIResData(std::shared_ptr<AIDATA::BaseAIDATA>* result);

  void* AiDataTransferPointer() const { return aiDataTransfer_; }

 private:
  void* aiDataTransfer_ = nullptr;
};

}  // namespace vorta
