// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "segment_helpers.h"

namespace {

using kaztest::Padded;
using kaztest::Segmenter;

// What each test network computes, channel by channel, from its three input channels.
enum class Net { kPassthrough, kFixedPair, kGreen, kBlueMask };

std::vector<float> Outputs(Net net, const float v[3]) {
  switch (net) {
    case Net::kPassthrough:
      return {v[0], v[1], v[2]};
    case Net::kFixedPair:
      return {v[0], v[2]};
    case Net::kGreen:
      return {v[1]};
    case Net::kBlueMask:
      return {v[2]};
  }
  return {};
}

struct OnnxCase {
  OnnxCase(const char* name_, const char* network_, Net net_, cv::Size frame_, cv::Size input_,
           cv::Size mask_)
      : name(name_), network(network_), net(net_), frame(frame_), input(input_), mask(mask_) {}
  // Options written into the manifest; those never set are left out of it.
  OnnxCase& Layout(std::string in, std::string out = "") {
    layout = std::move(in);
    outputLayout = std::move(out);
    return *this;
  }
  OnnxCase& Colour(std::string order) {
    colorOrder = std::move(order);
    return *this;
  }
  OnnxCase& Scale(float value) {
    scale = value;
    return *this;
  }
  OnnxCase& Normalise(std::vector<float> m, std::vector<float> s) {
    mean = std::move(m);
    std = std::move(s);
    return *this;
  }
  OnnxCase& Person(int channel, std::string how) {
    personChannel = channel;
    activation = std::move(how);
    return *this;
  }
  OnnxCase& Output(std::string name_) {
    outputName = std::move(name_);
    return *this;
  }
  OnnxCase& SizeFromNetwork() {
    giveSize = false;
    return *this;
  }
  OnnxCase& BareFile() {
    bare = true;
    giveSize = false;
    return *this;
  }

  const char* name;
  const char* network;
  Net net;
  cv::Size frame, input, mask;
  bool giveSize = true;  // write input.width and input.height into the manifest
  bool bare = false;     // use the ONNX file itself as the model file
  std::string layout, outputLayout, colorOrder;
  float scale = 0;  // 0: left out (1/255)
  std::vector<float> mean, std;
  int personChannel = -1;  // -1: left out
  std::string activation;
  std::string outputName;
};

void PrintTo(const OnnxCase& c, std::ostream* out) { *out << c.name; }

std::string Manifest(const OnnxCase& c) {
  auto list = [](const std::vector<float>& v) {
    if (v.size() == 1) return cv::format("%.9g", v[0]);
    return cv::format("[%.9g, %.9g, %.9g]", v[0], v[1], v[2]);
  };
  std::string input, output;
  auto add = [](std::string& to, const std::string& item) {
    to += (to.empty() ? "" : ", ") + item;
  };
  if (c.giveSize) {
    add(input, cv::format("\"width\": %d, \"height\": %d", c.input.width, c.input.height));
  }
  if (!c.layout.empty()) add(input, "\"layout\": \"" + c.layout + "\"");
  if (!c.colorOrder.empty()) add(input, "\"colorOrder\": \"" + c.colorOrder + "\"");
  if (c.scale != 0) add(input, cv::format("\"scale\": %.9g", c.scale));
  if (!c.mean.empty()) add(input, "\"mean\": " + list(c.mean));
  if (!c.std.empty()) add(input, "\"std\": " + list(c.std));
  if (!c.outputLayout.empty()) add(output, "\"layout\": \"" + c.outputLayout + "\"");
  if (c.personChannel >= 0) add(output, cv::format("\"personChannel\": %d", c.personChannel));
  if (!c.activation.empty()) add(output, "\"activation\": \"" + c.activation + "\"");
  if (!c.outputName.empty()) add(output, "\"name\": \"" + c.outputName + "\"");
  return "{\"backend\": \"onnx\", \"network\": \"nets/" + std::string(c.network) +
         "\", \"input\": {" + input + "}, \"output\": {" + output + "}}";
}

int Interpolation(cv::Size from, cv::Size to) {
  return to.width < from.width && to.height < from.height ? cv::INTER_AREA : cv::INTER_LINEAR;
}

// The documented pipeline, written out: resize the BGRA frame to the network's size, scale and
// normalise each channel in the network's colour order, apply the network, pick the person's
// channel through the activation, resize the probabilities to the mask and round to 0..255.
cv::Mat Expected(const OnnxCase& c, const cv::Mat& frame) {
  cv::Mat resized = frame;
  if (frame.size() != c.input) {
    cv::resize(frame, resized, c.input, 0, 0, Interpolation(frame.size(), c.input));
  }
  const bool rgb = c.colorOrder != "bgr";
  const float scale = c.scale != 0 ? c.scale : 1.0f / 255.0f;
  auto pick = [](const std::vector<float>& v, int i, float fallback) {
    return v.empty() ? fallback : v[v.size() == 1 ? 0 : i];
  };
  cv::Mat probability(c.input, CV_32F);
  for (int y = 0; y < c.input.height; ++y) {
    for (int x = 0; x < c.input.width; ++x) {
      const cv::Vec4b px = resized.at<cv::Vec4b>(y, x);
      const float ordered[3] = {float(rgb ? px[2] : px[0]), float(px[1]),
                                float(rgb ? px[0] : px[2])};
      float v[3];
      for (int k = 0; k < 3; ++k) {
        v[k] = (ordered[k] * scale - pick(c.mean, k, 0.0f)) / pick(c.std, k, 1.0f);
      }
      const std::vector<float> out = Outputs(c.net, v);
      const int channels = static_cast<int>(out.size());
      const int person = c.personChannel >= 0 ? c.personChannel : (channels == 1 ? 0 : 1);
      const std::string activation =
          !c.activation.empty() ? c.activation : (channels == 1 ? "none" : "softmax");
      float p = out[person];
      if (activation == "sigmoid") {
        p = 1.0f / (1.0f + std::exp(-out[person]));
      } else if (activation == "softmax") {
        const float top = *std::max_element(out.begin(), out.end());
        float sum = 0.0f;
        for (float o : out) sum += std::exp(o - top);
        p = std::exp(out[person] - top) / sum;
      }
      probability.at<float>(y, x) = p >= 0.0f ? std::min(p, 1.0f) : 0.0f;
    }
  }
  if (c.mask != c.input) {
    cv::resize(probability, probability, c.mask, 0, 0, Interpolation(c.input, c.mask));
  }
  cv::Mat expected;
  probability.convertTo(expected, CV_8U, 255.0);
  return expected;
}

class OnnxPath : public ::testing::TestWithParam<OnnxCase> {
 protected:
  static void SetUpTestSuite() {
    dir_ = kaztest::TempDir("onnx");
    std::filesystem::create_directories(dir_ + "/nets");
    for (const auto& entry : std::filesystem::directory_iterator(QUORIN_TEST_NETWORKS)) {
      std::filesystem::copy_file(entry.path(), dir_ + "/nets/" + entry.path().filename().string());
    }
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }
  static std::string dir_;
};
std::string OnnxPath::dir_;

TEST_P(OnnxPath, MaskIsWhatTheNetworkComputes) {
  const OnnxCase& c = GetParam();
  std::string model = dir_ + "/nets/" + c.network;
  if (!c.bare) {
    model = dir_ + "/" + c.name + ".model";
    kaztest::WriteFile(model, Manifest(c));
  }
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(model), 0) << Manifest(c);
  int32_t width = 0, height = 0;
  ASSERT_EQ(QuorinHumanSegmentInputSizeGet(segmenter.get(), &width, &height), 0);
  EXPECT_EQ(cv::Size(width, height), c.input);

  cv::Mat frame = Padded(c.frame.height, c.frame.width, CV_8UC4, 12, 0);
  cv::RNG rng(static_cast<uint64_t>(c.frame.area()) * 31 + c.mask.width);
  rng.fill(frame, cv::RNG::UNIFORM, 0, 256);
  cv::Mat mask = Padded(c.mask.height, c.mask.width, CV_8UC1, 5, 0xAB);
  ASSERT_EQ(segmenter.Run(frame, mask), 0);

  const cv::Mat expected = Expected(c, frame);
  const int wrong = cv::countNonZero(expected != mask);
  EXPECT_EQ(wrong, 0) << "of " << mask.total() << " mask bytes";
  EXPECT_TRUE(kaztest::PaddingIntact(mask, 5, 0xAB)) << "bytes past the mask rows were written";
  // The masks of these cases span most of 0..255, so a constant answer cannot pass.
  double low = 0, high = 0;
  cv::minMaxLoc(expected, &low, &high);
  EXPECT_GT(high - low, 60);
}

const cv::Size k40x30(40, 30);
const char* const kPassthrough = "passthrough_nchw.onnx";

INSTANTIATE_TEST_SUITE_P(
    ManifestOptions, OnnxPath,
    ::testing::Values(
        OnnxCase("rgb_channel0", kPassthrough, Net::kPassthrough, k40x30, k40x30, k40x30)
            .Person(0, "none"),
        OnnxCase("bgr_channel0", kPassthrough, Net::kPassthrough, k40x30, k40x30, k40x30)
            .Layout("nchw")
            .Colour("bgr")
            .Person(0, "none"),
        OnnxCase("mean_std_channel2", kPassthrough, Net::kPassthrough, k40x30, k40x30, k40x30)
            .Colour("rgb")
            .Normalise({0.1f, 0.2f, 0.3f}, {0.5f, 0.25f, 2.0f})
            .Person(2, "none"),
        OnnxCase("scale", kPassthrough, Net::kPassthrough, k40x30, k40x30, k40x30)
            .Scale(0.002f)
            .Person(1, "none"),
        OnnxCase("sigmoid_one_mean_one_std", kPassthrough, Net::kPassthrough, k40x30, k40x30,
                 k40x30)
            .Normalise({0.5f}, {0.125f})
            .Person(1, "sigmoid"),
        OnnxCase("softmax", kPassthrough, Net::kPassthrough, k40x30, k40x30, k40x30)
            .Scale(0.02f)
            .Person(0, "softmax"),
        OnnxCase("nhwc", "passthrough_nhwc.onnx", Net::kPassthrough, k40x30, k40x30, k40x30)
            .Layout("nhwc")
            .Colour("bgr")
            .Person(2, "none"),
        OnnxCase("nhwc_in_nchw_out", "nhwc_to_nchw.onnx", Net::kPassthrough, k40x30, k40x30, k40x30)
            .Layout("nhwc", "nchw")
            .Normalise({0.5f}, {0.1f})
            .Person(1, "sigmoid"),
        OnnxCase("shrink_then_enlarge", kPassthrough, Net::kPassthrough, {64, 48}, {32, 24},
                 {64, 48})
            .Person(0, "none"),
        OnnxCase("enlarge_then_shrink", kPassthrough, Net::kPassthrough, {20, 16}, {40, 32},
                 {30, 20})
            .Normalise({0.5f}, {0.2f})
            .Person(1, "sigmoid"),
        OnnxCase("mask_larger_than_frame", kPassthrough, Net::kPassthrough, k40x30, k40x30,
                 {80, 60})
            .Scale(0.01f)
            .Person(2, "softmax"),
        OnnxCase("named_output", "two_outputs.onnx", Net::kBlueMask, k40x30, k40x30, k40x30)
            .Output("mask"),
        OnnxCase("output_without_channel_axis", "single_channel_3d.onnx", Net::kGreen, k40x30,
                 k40x30, k40x30),
        OnnxCase("one_channel_defaults", "single_channel.onnx", Net::kGreen, {36, 28}, {36, 28},
                 {36, 28}),
        OnnxCase("bare_onnx_file", "fixed_32x24.onnx", Net::kFixedPair, {64, 48}, {32, 24},
                 {50, 40})
            .BareFile(),
        OnnxCase("size_from_the_network", "fixed_32x24.onnx", Net::kFixedPair, {31, 23}, {32, 24},
                 {32, 24})
            .SizeFromNetwork()
            .Colour("bgr")
            .Scale(0.01f)
            .Person(0, "sigmoid")),
    [](const ::testing::TestParamInfo<OnnxCase>& info) { return std::string(info.param.name); });

}  // namespace
