// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "segment_helpers.h"

namespace {

using kaztest::Segmenter;

struct Broken {
  const char* name;
  std::string manifest;  // written to <dir>/<name>.model
  int32_t status;        // the documented code
  std::string message;   // must appear in the runtime's log
  // The model path under the test's directory when there is no manifest ("": no path at all).
  const char* path = nullptr;
};

void PrintTo(const Broken& b, std::ostream* out) { *out << b.name; }

const std::string kOnnx = "{\"backend\": \"onnx\", \"network\": \"nets/passthrough_nchw.onnx\", ";
const std::string kSized = "\"input\": {\"width\": 8, \"height\": 6";

class BrokenModels : public ::testing::TestWithParam<Broken> {
 protected:
  static void SetUpTestSuite() {
    dir_ = kaztest::TempDir("manifests");
    std::filesystem::create_directory_symlink(QUORIN_TEST_NETWORKS, dir_ + "/nets");
    kaztest::WriteFile(dir_ + "/classical.json", "{\"backend\": \"classical\"}");
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }
  void SetUp() override { setenv("QUORIN_LOG", "1", 1); }
  void TearDown() override { unsetenv("QUORIN_LOG"); }

  static std::string dir_;
};
std::string BrokenModels::dir_;

TEST_P(BrokenModels, CreateFailsWithItsCodeAndSaysWhy) {
  const Broken& b = GetParam();
  std::string path = dir_ + "/" + b.name + ".model";
  if (b.path == nullptr) {
    kaztest::WriteFile(path, b.manifest);
  } else {
    path = *b.path != '\0' ? dir_ + "/" + b.path : "";
  }
  Segmenter segmenter;
  ::testing::internal::CaptureStderr();
  const int32_t status = segmenter.Create(path);
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, b.status) << log;
  EXPECT_EQ(segmenter.get(), nullptr);
  EXPECT_NE(log.find(b.message), std::string::npos) << "log was: " << log;
  EXPECT_NE(log.find("quorin: human_segment: create: "), std::string::npos) << log;
}

INSTANTIATE_TEST_SUITE_P(
    Manifests, BrokenModels,
    ::testing::Values(
        Broken{"not_json", "{\"backend\": onnx}", 3, "is not valid JSON"},
        Broken{"no_backend", "{}", 3, "\"backend\" is missing"},
        Broken{"unknown_backend", "{\"backend\": \"tflite\"}", 3,
               "backend is \"tflite\"; expected one of \"onnx\", \"classical\""},
        Broken{"unknown_key", "{\"backend\": \"classical\", \"colour\": 1}", 3,
               "unknown key \"colour\" in manifest"},
        Broken{"scale_text", kOnnx + kSized + ", \"scale\": \"x\"}}", 3,
               "input.scale must be a number"},
        Broken{"scale_zero", kOnnx + kSized + ", \"scale\": 0}}", 3,
               "input.scale must be a finite non-zero number"},
        Broken{"mean_of_two", kOnnx + kSized + ", \"mean\": [1, 2]}}", 3,
               "input.mean must be a number or an array of three numbers"},
        Broken{"width_zero", kOnnx + "\"input\": {\"width\": 0, \"height\": 6}}", 3,
               "input.width must be a whole number from 1 to 8192"},
        Broken{"no_network", "{\"backend\": \"onnx\"}", 3, "\"network\" is missing"},
        Broken{"network_absent", "{\"backend\": \"onnx\", \"network\": \"nets/none.onnx\"}", 2,
               "cannot open model file"},
        Broken{"network_is_a_manifest", "{\"backend\": \"onnx\", \"network\": \"classical.json\"}",
               3, "is not an ONNX model"},
        Broken{
            "unknown_operator",
            "{\"backend\": \"onnx\", \"network\": \"nets/unknown_operator.onnx\", " + kSized + "}}",
            4, "failed to load"},
        Broken{"no_such_output",
               "{\"backend\": \"onnx\", \"network\": \"nets/two_outputs.onnx\", " + kSized +
                   "}, \"output\": {\"name\": \"nope\"}}",
               4, "has no output \"nope\" (its outputs: "},
        Broken{"channel_beyond_output", kOnnx + kSized + "}, \"output\": {\"personChannel\": 3}}",
               3, "output.personChannel is 3 but network"},
        Broken{"size_against_the_network",
               "{\"backend\": \"onnx\", \"network\": \"nets/fixed_32x24.onnx\", \"input\": "
               "{\"width\": 64, \"height\": 48}}",
               3, "has a fixed 32x24 input, but the manifest asks for 64x48"},
        Broken{"grey_network",
               "{\"backend\": \"onnx\", \"network\": \"nets/grey_input.onnx\", " + kSized + "}}", 4,
               "takes 1 channels"},
        Broken{"classical_with_network",
               "{\"backend\": \"classical\", \"network\": \"nets/passthrough_nchw.onnx\"}", 3,
               "\"network\" belongs to the onnx backend"},
        Broken{"working_size_small",
               "{\"backend\": \"classical\", \"classical\": {\"workingSize\": 10}}", 3,
               "classical.workingSize must be a whole number from 96 to 1920"},
        // A cascade the manifest names must be there; only the built-in default is optional.
        Broken{"face_cascade_absent",
               "{\"backend\": \"classical\", \"classical\": {\"faceCascade\": \"none.xml\"}}", 2,
               "none.xml' cannot be loaded"},
        Broken{"face_cascade_not_a_cascade",
               "{\"backend\": \"classical\", \"classical\": {\"faceCascade\": "
               "\"classical.json\"}}",
               2, "classical.json' cannot be loaded"},
        Broken{"matte_without_networks", "{\"backend\": \"matte\"}", 3, "\"matte\" is missing"},
        Broken{"matte_unknown_key",
               "{\"backend\": \"matte\", \"matte\": {\"network\": \"nets/matte_square.onnx\", "
               "\"radius\": 2}}",
               3, "unknown key \"radius\" in matte"},
        Broken{"matte_network_not_onnx",
               "{\"backend\": \"matte\", \"matte\": {\"network\": \"classical.json\"}}", 3,
               "is not an ONNX model"},
        Broken{"matte_options_elsewhere", "{\"backend\": \"classical\", \"matte\": {}}", 3,
               "\"matte\" belongs to the matte backend"},
        Broken{"empty_file", "", 3, "is neither a JSON manifest nor an ONNX model"},
        Broken{"json_array", "[{\"backend\": \"classical\"}]", 3,
               "is neither a JSON manifest nor an ONNX model"},
        Broken{"model_absent", "", 2, "cannot open model file", "absent.model"},
        Broken{"model_is_a_directory", "", 2, "is a directory, not a model file", "nets"},
        Broken{"no_model_path", "", 2, "no model path", ""}),
    [](const ::testing::TestParamInfo<Broken>& info) { return std::string(info.param.name); });

TEST_F(BrokenModels, TruncatedNetworksAreRefused) {
  std::ifstream file(std::string(QUORIN_TEST_NETWORKS) + "/bench_256.onnx", std::ios::binary);
  const std::string network((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
  ASSERT_GT(network.size(), 1000u);
  for (size_t keep : {size_t(1), size_t(40), network.size() / 2, network.size() - 1}) {
    const std::string path = dir_ + "/truncated.onnx";
    kaztest::WriteFile(path, network.substr(0, keep));
    Segmenter segmenter;
    ::testing::internal::CaptureStderr();
    const int32_t status = segmenter.Create(path);
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(status == 3 || status == 4) << keep << " bytes: " << status;
    EXPECT_NE(log.find("truncated.onnx"), std::string::npos) << log;
  }
}

TEST_F(BrokenModels, TheLogIsSilentUnlessAskedFor) {
  // A missing file, and a network OpenCV refuses (its importer has a logger of its own).
  const std::string refused = dir_ + "/refused.model";
  kaztest::WriteFile(
      refused,
      "{\"backend\": \"onnx\", \"network\": \"nets/unknown_operator.onnx\", " + kSized + "}}");
  for (const char* setting : {static_cast<const char*>(nullptr), "0"}) {
    if (setting == nullptr) {
      unsetenv("QUORIN_LOG");
    } else {
      setenv("QUORIN_LOG", setting, 1);
    }
    Segmenter segmenter;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(segmenter.Create(dir_ + "/absent.model"), 2);
    EXPECT_EQ(segmenter.Create(refused), 4);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  }
}

}  // namespace
