// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "segment_helpers.h"

namespace {

using kaztest::Segmenter;

// How the model file names the network: a manifest giving the input size, one leaving it to
// the network, or the ONNX file itself.
enum class Model { kSized, kUnsized, kBare };

struct OnnxCase {
  const char* name;
  const char* network;
  // The normalised input channel each output channel of the network repeats, in order.
  const char* picks;
  cv::Size frame, input, mask;
  // Members of the manifest's "input" and "output" objects; options left out take their defaults.
  const char* in;
  const char* out;
  Model model = Model::kSized;
};

void PrintTo(const OnnxCase& c, std::ostream* out) { *out << c.name; }

nlohmann::json Options(const char* members) {
  return nlohmann::json::parse(std::string("{") + members + "}");
}

std::string Manifest(const OnnxCase& c) {
  nlohmann::json in = Options(c.in);
  if (c.model == Model::kSized) {
    in["width"] = c.input.width;
    in["height"] = c.input.height;
  }
  return nlohmann::json{{"backend", "onnx"},
                        {"network", std::string("nets/") + c.network},
                        {"input", in},
                        {"output", Options(c.out)}}
      .dump();
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
  const nlohmann::json in = Options(c.in), out = Options(c.out);
  const bool rgb = in.value("colorOrder", "rgb") != "bgr";
  const float scale = in.value("scale", 1.0f / 255.0f);
  float mean[3], std[3];
  for (int k = 0; k < 3; ++k) {
    // One number for all channels, or one per channel.
    const auto pick = [&](const char* key, float fallback) {
      if (!in.contains(key)) return fallback;
      return (in[key].is_array() ? in[key][k] : in[key]).get<float>();
    };
    mean[k] = pick("mean", 0.0f);
    std[k] = pick("std", 1.0f);
  }
  const bool oneChannel = std::strlen(c.picks) == 1;
  const size_t person = out.value("personChannel", oneChannel ? 0 : 1);
  const std::string activation = out.value("activation", oneChannel ? "none" : "softmax");
  cv::Mat probability(c.input, CV_32F);
  for (int y = 0; y < c.input.height; ++y) {
    for (int x = 0; x < c.input.width; ++x) {
      const cv::Vec4b px = resized.at<cv::Vec4b>(y, x);
      const float ordered[3] = {float(rgb ? px[2] : px[0]), float(px[1]),
                                float(rgb ? px[0] : px[2])};
      float v[3];
      for (int k = 0; k < 3; ++k) v[k] = (ordered[k] * scale - mean[k]) / std[k];
      std::vector<float> net;
      for (const char* pick = c.picks; *pick != '\0'; ++pick) net.push_back(v[*pick - '0']);
      float p = net[person];
      if (activation == "sigmoid") {
        p = 1.0f / (1.0f + std::exp(-net[person]));
      } else if (activation == "softmax") {
        const float top = *std::max_element(net.begin(), net.end());
        float sum = 0.0f;
        for (float o : net) sum += std::exp(o - top);
        p = std::exp(net[person] - top) / sum;
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
    std::filesystem::create_directory_symlink(QUORIN_TEST_NETWORKS, dir_ + "/nets");
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }
  static std::string dir_;
};
std::string OnnxPath::dir_;

TEST_P(OnnxPath, MaskIsWhatTheNetworkComputes) {
  const OnnxCase& c = GetParam();
  std::string model = dir_ + "/nets/" + c.network;
  if (c.model != Model::kBare) {
    model = dir_ + "/" + c.name + ".model";
    kaztest::WriteFile(model, Manifest(c));
  }
  Segmenter segmenter;
  ASSERT_EQ(segmenter.Create(model), 0) << Manifest(c);
  int32_t width = 0, height = 0;
  ASSERT_EQ(QuorinHumanSegmentInputSizeGet(segmenter.get(), &width, &height), 0);
  EXPECT_EQ(cv::Size(width, height), c.input);

  // Rows longer than their pixels: a module that ignores the row step, or writes past a row's
  // pixels, shows.
  cv::Mat frameRows(c.frame.height, c.frame.width + 3, CV_8UC4);
  cv::Mat maskRows(c.mask.height, c.mask.width + 5, CV_8UC1, cv::Scalar(0xAB));
  cv::RNG(c.frame.area() * 31 + c.mask.width).fill(frameRows, cv::RNG::UNIFORM, 0, 256);
  cv::Mat frame = frameRows.colRange(0, c.frame.width), mask = maskRows.colRange(0, c.mask.width);
  ASSERT_EQ(segmenter.Run(frame, mask), 0);

  const cv::Mat expected = Expected(c, frame);
  const int wrong = cv::countNonZero(expected != mask);
  EXPECT_EQ(wrong, 0) << "of " << mask.total() << " mask bytes";
  EXPECT_EQ(cv::countNonZero(maskRows.colRange(c.mask.width, c.mask.width + 5) != 0xAB), 0)
      << "bytes past the mask rows were written";
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
        OnnxCase{"mean_std_channel2", kPassthrough, "012", k40x30, k40x30, k40x30,
                 R"("colorOrder": "rgb", "mean": [0.1, 0.2, 0.3], "std": [0.5, 0.25, 2])",
                 R"("personChannel": 2, "activation": "none")"},
        OnnxCase{"scale", kPassthrough, "012", k40x30, k40x30, k40x30,
                 R"("layout": "nchw", "scale": 0.002)",
                 R"("personChannel": 1, "activation": "none")"},
        OnnxCase{"sigmoid_one_mean_one_std", kPassthrough, "012", k40x30, k40x30, k40x30,
                 R"("mean": 0.5, "std": 0.125)", R"("personChannel": 1, "activation": "sigmoid")"},
        OnnxCase{"nhwc", "passthrough_nhwc.onnx", "012", k40x30, k40x30, k40x30,
                 R"("layout": "nhwc", "colorOrder": "bgr")",
                 R"("personChannel": 2, "activation": "none")"},
        OnnxCase{"nhwc_in_nchw_out", "nhwc_to_nchw.onnx", "012", k40x30, k40x30, k40x30,
                 R"("layout": "nhwc", "mean": 0.5, "std": 0.1)",
                 R"("layout": "nchw", "personChannel": 1, "activation": "sigmoid")"},
        OnnxCase{"shrink_then_enlarge", kPassthrough, "012", cv::Size(64, 48), cv::Size(32, 24),
                 cv::Size(64, 48), "", R"("personChannel": 0, "activation": "none")"},
        OnnxCase{"enlarge_then_shrink", kPassthrough, "012", cv::Size(20, 16), cv::Size(40, 32),
                 cv::Size(30, 20), R"("mean": 0.5, "std": 0.2)",
                 R"("personChannel": 1, "activation": "sigmoid")"},
        OnnxCase{"mask_larger_than_frame", kPassthrough, "012", k40x30, k40x30, cv::Size(80, 60),
                 R"("scale": 0.01)", R"("personChannel": 2, "activation": "softmax")"},
        OnnxCase{"named_output", "two_outputs.onnx", "2", k40x30, k40x30, k40x30, "",
                 R"("name": "mask")"},
        OnnxCase{"output_without_channel_axis", "single_channel_3d.onnx", "1", k40x30, k40x30,
                 k40x30, "", ""},
        OnnxCase{"one_channel_defaults", "single_channel.onnx", "1", cv::Size(36, 28),
                 cv::Size(36, 28), cv::Size(36, 28), "", ""},
        OnnxCase{"bare_onnx_file", "fixed_32x24.onnx", "02", cv::Size(64, 48), cv::Size(32, 24),
                 cv::Size(50, 40), "", "", Model::kBare},
        OnnxCase{"size_from_the_network", "fixed_32x24.onnx", "02", cv::Size(31, 23),
                 cv::Size(32, 24), cv::Size(32, 24), R"("colorOrder": "bgr", "scale": 0.01)",
                 R"("personChannel": 0, "activation": "sigmoid")", Model::kUnsized}),
    [](const ::testing::TestParamInfo<OnnxCase>& info) { return std::string(info.param.name); });

}  // namespace
