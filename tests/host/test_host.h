// SPDX-License-Identifier: MIT
// A small host built on the public host framework header, for the tests.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "kaz/host_framework.h"

namespace kaztest {

class TestUtilSuite final : public KAZHostUtilSuite {
 public:
  std::string resources = "/host/res";
  std::string cloud = "/host/cloud";
  std::vector<std::tuple<int, std::string, int>> asked;  // code, what the buffer held, its size
  std::vector<std::string> lines;                        // "level:text"

  int32_t GetPath(int code, char* buffer, int bufferSize) override {
    asked.emplace_back(code, buffer, bufferSize);
    const std::string& path = code == 1 ? resources : cloud;
    std::snprintf(buffer, bufferSize, "%s", path.c_str());
    return 0;
  }
  void Log(int level, const char* format, ...) override {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    lines.push_back(std::to_string(level) + ":" + line);
  }
  int Count(const std::string& line) const {
    int n = 0;
    for (const auto& l : lines) n += l == line;
    return n;
  }
};

class TestHost final : public KAZHost {
 public:
  TestUtilSuite util;
  std::vector<std::pair<std::string, int32_t>> asked;

  // The plug-in only keeps the other suites' pointers, so any address stands in for them.
  int32_t AcquireSuite(const char* name, int32_t version, void** suite) override {
    asked.emplace_back(name, version);
    KAZHostUtilSuite* const hostUtil = &util;
    *suite = std::string(name) == "Host Util Suite" ? static_cast<void*>(hostUtil) : &asked;
    return 0;
  }
};

// One declaration as the registrar received it: slot, group, index, name, min, max, default
// (numbers widened to double; texts are not kept) and visibility.
using Declaration = std::tuple<int, int32_t, int32_t, std::string, double, double, double, int32_t>;

class RecordingRegistrar : public KAZEffectRegistrar {
 public:
  std::string guid, name;
  int32_t flags = -1, reserved = -1;
  std::vector<Declaration> declarations;

  int32_t SetIdentity(const char* g, const char* n) override {
    guid = g;
    name = n;
    return 0;
  }
  int32_t SetFlags(int32_t f) override {
    flags = f;
    return 0;
  }
  int32_t SetReserved(int32_t v) override {
    reserved = v;
    return 0;
  }
// Each declaration slot records its number.
#define KAZ_NUMBER_SLOT(method, type, slot)                                              \
  int32_t method(int32_t g, int32_t i, const char* n, type a, type b, type d, int32_t v) \
      override {                                                                         \
    declarations.emplace_back(slot, g, i, n, a, b, d, v);                                \
    return 0;                                                                            \
  }
  KAZ_NUMBER_SLOT(DeclareFloat, float, 5)
  KAZ_NUMBER_SLOT(DeclareInt, int32_t, 6)
  KAZ_NUMBER_SLOT(DeclareColor, int32_t, 7)
  KAZ_NUMBER_SLOT(DeclareCheckBox, int32_t, 9)
  KAZ_NUMBER_SLOT(DeclareDouble, double, 16)
  KAZ_NUMBER_SLOT(Declare9Palaces, int32_t, 17)
  KAZ_NUMBER_SLOT(DeclareListMosaic, int32_t, 19)
  KAZ_NUMBER_SLOT(DeclareColorStart, int32_t, 20)
  KAZ_NUMBER_SLOT(DeclareColorEnd, int32_t, 21)
  KAZ_NUMBER_SLOT(DeclareMult100Float, float, 22)
#undef KAZ_NUMBER_SLOT
  int32_t DeclareString(int32_t g, int32_t i, const char* n, const char*, const char*, const char*,
                        int32_t v) override {
    declarations.emplace_back(14, g, i, n, 0, 0, 0, v);
    return 0;
  }
  int32_t DeclareListMask(int32_t g, int32_t i, const char* n, const char*, const char*,
                          const char*, int32_t v) override {
    declarations.emplace_back(18, g, i, n, 0, 0, 0, v);
    return 0;
  }
};

// An image over a vector the test owns.
class TestImage : public KAZImage {
 public:
  TestImage(int32_t w, int32_t h, int32_t stride)
      : width(w), height(h), stride(stride), pixels(static_cast<size_t>(stride) * h) {}
  int32_t Width() override { return width; }
  int32_t Height() override { return height; }
  int32_t Stride() override { return stride; }
  unsigned char* Pixels() override { return pixels.data(); }

  int32_t width, height, stride;
  std::vector<unsigned char> pixels;
};

// A render context with fixed answers; parameters by name, with the kind they were asked for.
class TestContext : public KAZRenderContext {
 public:
  int32_t current = 0, total = 0;
  int64_t num = 25, den = 1;
  TestImage* source = nullptr;
  TestImage* images[2] = {nullptr, nullptr};
  std::map<std::string, KAZHostValue> params;
  std::map<std::string, KAZHostValue> renderParams;
  std::vector<std::pair<std::string, int32_t>> askedKinds;

  int32_t CurrentTime() override { return current; }
  int32_t TotalTime() override { return total; }
  int32_t FrameRate(int64_t* n, int64_t* d) override {
    *n = num;
    *d = den;
    return 0;
  }
  KAZImage* Image(int32_t index) override {
    return index == 0 || index == 1 ? images[index] : nullptr;
  }
  int32_t RenderParamValue(const char* name, int32_t kind, KAZHostValue* value) override {
    return Answer(renderParams, name, kind, value);
  }
  KAZImage* SourceImage() override { return source; }
  int32_t ParamValue(const char* name, int32_t kind, KAZHostValue* value) override {
    return Answer(params, name, kind, value);
  }

 private:
  int32_t Answer(const std::map<std::string, KAZHostValue>& from, const char* name, int32_t kind,
                 KAZHostValue* value) {
    askedKinds.emplace_back(name, kind);
    auto it = from.find(name);
    if (it == from.end()) return 1;
    *value = it->second;
    return 0;
  }
};

}  // namespace kaztest
