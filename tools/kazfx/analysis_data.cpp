// SPDX-License-Identifier: MIT
#include "analysis_data.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "failure.h"
#include "kaz/ai_results.h"

namespace kazfx {
namespace {

// Reads little-endian values and refuses to run past the end.
class BlobReader {
 public:
  BlobReader(const unsigned char* bytes, uint32_t length) : p_(bytes), left_(length) {}
  bool Take(size_t n, uint64_t* v) {
    if (p_ == nullptr || left_ < n) return false;
    *v = 0;
    for (size_t i = 0; i < n; ++i) *v |= static_cast<uint64_t>(p_[i]) << (8 * i);
    p_ += n;
    left_ -= n;
    return true;
  }
  bool U8(uint8_t* v) {
    uint64_t x;
    return Take(1, &x) && (*v = static_cast<uint8_t>(x), true);
  }
  bool I32(int32_t* v) {
    uint64_t x;
    return Take(4, &x) && (*v = static_cast<int32_t>(static_cast<uint32_t>(x)), true);
  }
  bool F32(float* v) {
    uint64_t x;
    if (!Take(4, &x)) return false;
    const uint32_t bits = static_cast<uint32_t>(x);
    std::memcpy(v, &bits, 4);
    return true;
  }
  bool F64(double* v) {
    uint64_t x;
    return Take(8, &x) && (std::memcpy(v, &x, 8), true);
  }
  // A count whose entries of `entrySize` bytes all fit in what is left.
  bool Count(size_t entrySize, int32_t* n) {
    return I32(n) && *n >= 0 && static_cast<uint64_t>(*n) * entrySize <= left_;
  }
  bool Done() const { return left_ == 0; }

 private:
  const unsigned char* p_;
  size_t left_;
};

bool Point(BlobReader& in, cv::Point2f* p) { return in.F32(&p->x) && in.F32(&p->y); }

}  // namespace

bool DecodeFaces(const unsigned char* bytes, uint32_t length, std::vector<FaceData>* faces) {
  faces->clear();
  if (length == 0) return true;
  BlobReader in(bytes, length);
  int32_t n = 0;
  if (!in.Count(1, &n)) return false;
  for (int32_t i = 0; i < n; ++i) {
    FaceData f;
    int32_t count = 0;
    if (!in.U8(&f.flagA) || !in.U8(&f.flagB) || !in.F64(&f.valueA) || !in.F64(&f.valueB) ||
        !in.F64(&f.valueC))
      return false;
    for (float& v : f.box) {
      if (!in.F32(&v)) return false;
    }
    if (!in.Count(8, &count)) return false;
    f.points.resize(static_cast<size_t>(count));
    for (cv::Point2f& p : f.points) {
      if (!Point(in, &p)) return false;
    }
    if (!in.I32(&f.aux) || !in.Count(4, &count)) return false;
    f.visibility.resize(static_cast<size_t>(count));
    for (float& v : f.visibility) {
      if (!in.F32(&v)) return false;
    }
    faces->push_back(std::move(f));
  }
  return in.Done();
}

bool DecodePeople(const unsigned char* bytes, uint32_t length, std::vector<PersonData>* people) {
  people->clear();
  if (length == 0) return true;
  BlobReader in(bytes, length);
  int32_t n = 0;
  if (!in.Count(4, &n)) return false;
  for (int32_t i = 0; i < n; ++i) {
    PersonData person;
    int32_t count = 0;
    if (!in.Count(12, &count)) return false;
    person.points.resize(static_cast<size_t>(count));
    for (cv::Point2f& p : person.points) {
      int32_t ignored;  // not a score; the blob format says so
      if (!Point(in, &p) || !in.I32(&ignored)) return false;
    }
    people->push_back(std::move(person));
  }
  return in.Done();
}

void DataReceiver::ReceiveFaceData(const unsigned char* bytes, uint32_t length) {
  ++faceCalls_;
  if (!DecodeFaces(bytes, length, &faces_)) ++malformed_;
}

void DataReceiver::ReceivePoseData(const unsigned char* bytes, uint32_t length) {
  ++poseCalls_;
  if (!DecodePeople(bytes, length, &people_)) ++malformed_;
}

void DataReceiver::Clear() {
  mask_.Clear();
  faces_.clear();
  people_.clear();
  faceCalls_ = poseCalls_ = malformed_ = 0;
}

bool IsAnalysisEffect(const std::string& guid) {
  return guid == kKAZFaceInfoEffectGUID || guid == kKAZPoseEffectGUID;
}

DataWriter::DataWriter(const std::string& path, bool faces, bool people)
    : path_(path), faces_(faces), people_(people) {
  const std::filesystem::path p(path);
  partial_ = (p.parent_path() / ("." + p.filename().string() + ".partial")).string();
  out_.open(partial_, std::ios::binary | std::ios::trunc);
  if (!out_) UsageError("cannot write " + path + " (does its folder exist?)");
}

DataWriter::~DataWriter() {
  if (committed_) return;
  out_.close();
  std::error_code ec;
  std::filesystem::remove(partial_, ec);
}

void DataWriter::Write(int frame, const DataReceiver& data) {
  nlohmann::ordered_json line = {{"frame", frame}};
  if (faces_) {
    nlohmann::ordered_json faces = nlohmann::ordered_json::array();
    for (const FaceData& f : data.Faces()) {
      nlohmann::ordered_json points = nlohmann::ordered_json::array();
      for (const cv::Point2f& p : f.points) points.push_back({p.x, p.y});
      faces.push_back({{"box", f.box},
                       {"points", std::move(points)},
                       {"visible", f.visibility},
                       {"flagA", f.flagA},
                       {"flagB", f.flagB},
                       {"valueA", f.valueA},
                       {"valueB", f.valueB},
                       {"valueC", f.valueC},
                       {"aux", f.aux}});
    }
    line["faces"] = std::move(faces);
  }
  if (people_) {
    nlohmann::ordered_json people = nlohmann::ordered_json::array();
    for (const PersonData& person : data.People()) {
      nlohmann::ordered_json points = nlohmann::ordered_json::array();
      for (const cv::Point2f& p : person.points) points.push_back({p.x, p.y});
      people.push_back({{"points", std::move(points)}});
    }
    line["people"] = std::move(people);
  }
  out_ << line.dump() << '\n';
  if (!out_) RunError("cannot write " + path_);
}

void DataWriter::Commit() {
  out_.close();
  std::error_code ec;
  std::filesystem::rename(partial_, path_, ec);
  if (ec) RunError("cannot put " + path_ + " in place: " + ec.message());
  committed_ = true;
}

void DrawData(cv::Mat& bgra, const DataReceiver& data) {
  const float w = static_cast<float>(bgra.cols), h = static_cast<float>(bgra.rows);
  const int radius = std::max(1, std::min(bgra.cols, bgra.rows) / 200);
  auto at = [&](const cv::Point2f& p) { return cv::Point(cvRound(p.x * w), cvRound(p.y * h)); };
  const cv::Scalar face(0, 255, 0, 255), hidden(0, 160, 255, 255), body(255, 64, 255, 255);
  for (const FaceData& f : data.Faces()) {
    // Drawn as two corners; a runtime that gives corner and size shows a box off to the side.
    cv::rectangle(bgra, at({f.box[0], f.box[1]}), at({f.box[2], f.box[3]}), face, 1);
    for (size_t k = 0; k < f.points.size(); ++k) {
      const bool visible = k < f.visibility.size() && f.visibility[k] != 0.0f;
      cv::circle(bgra, at(f.points[k]), radius, visible ? face : hidden, visible ? -1 : 1);
    }
  }
  for (const PersonData& person : data.People()) {
    for (const cv::Point2f& p : person.points) cv::circle(bgra, at(p), radius + 1, body, -1);
  }
}

}  // namespace kazfx
