// SPDX-License-Identifier: MIT
// What the analysis effects send kazfx beside the picture: the face and pose blobs decoded, one
// JSON line per frame, and the points drawn over the frame for a check by eye.
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "kaz/ai_results.h"
#include "render_context.h"

namespace kazfx {

struct FaceData {
  uint8_t flagA = 0, flagB = 0;
  double valueA = 0, valueB = 0, valueC = 0;
  std::array<float, 4> box{};
  std::vector<cv::Point2f> points;
  int32_t aux = 0;
  std::vector<float> visibility;
};

struct PersonData {
  std::vector<cv::Point2f> points;
};

// Decoders of the blob formats of kaz/ai_results.h. False for bytes that do not hold exactly
// what their counts describe.
bool DecodeFaces(const unsigned char* bytes, uint32_t length, std::vector<FaceData>* faces);
bool DecodePeople(const unsigned char* bytes, uint32_t length, std::vector<PersonData>* people);

// The receiver kazfx lends: keeps the frame's mask, faces and people.
class DataReceiver final : public KAZAiDataReceiver {
 public:
  void ReceiveGrayImage(const unsigned char* pixels, int32_t width, int32_t height,
                        int32_t stride) override {
    mask_.ReceiveGrayImage(pixels, width, height, stride);
  }
  void ReceiveFaceData(const unsigned char* bytes, uint32_t length) override;
  void ReceivePoseData(const unsigned char* bytes, uint32_t length) override;

  void Clear();
  const MaskReceiver& Mask() const { return mask_; }
  const std::vector<FaceData>& Faces() const { return faces_; }
  const std::vector<PersonData>& People() const { return people_; }
  int FaceCalls() const { return faceCalls_; }
  int PoseCalls() const { return poseCalls_; }
  // Blobs that did not decode since the last Clear.
  int Malformed() const { return malformed_; }

 private:
  MaskReceiver mask_;
  std::vector<FaceData> faces_;
  std::vector<PersonData> people_;
  int faceCalls_ = 0, poseCalls_ = 0, malformed_ = 0;
};

// True for the effects whose product is data.
bool IsAnalysisEffect(const std::string& guid);

// Writes FILE.jsonl under a temporary name, put in place by Commit.
class DataWriter {
 public:
  // `faces` / `people`: which keys every line carries, whatever the frame held.
  DataWriter(const std::string& path, bool faces, bool people);
  ~DataWriter();
  void Write(int frame, const DataReceiver& data);
  void Commit();

 private:
  std::string path_, partial_;
  bool faces_, people_;
  std::ofstream out_;
  bool committed_ = false;
};

// Boxes and points over `bgra`, in the frame's own pixels; hidden face points hollow.
void DrawData(cv::Mat& bgra, const DataReceiver& data);

}  // namespace kazfx
