// SPDX-License-Identifier: MIT
#include <cstdio>
#include <filesystem>
#include <sstream>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "commands.h"
#include "failure.h"
#include "imaging/blend.h"
#include "media.h"
#include "values.h"

namespace kazfx {
namespace {

const char kUsage[] =
    "usage: kazfx blend [--mode NAME|NUMBER] [--opacity F] [--premultiplied]\n"
    "                   [--place CX,CY,CW,CH,PX,PY,SW,SH] [--resize] LAYER BASE OUTPUT\n"
    "       kazfx blend --solid 0xAABBGGRR [--mode NAME|NUMBER] [--opacity F]\n"
    "                   [--premultiplied] IMAGE OUTPUT\n"
    "\n"
    "Composites LAYER over BASE, or a solid colour with IMAGE, with the plug-in's blend modes.\n"
    "Images are read as 8-bit BGRA (no alpha means opaque) and OUTPUT is written as PNG.\n"
    "\n"
    "  --mode NAME|NUMBER  0..23 or a name: Normal, Darken, Multiply, ColorBurn, LinearBurn,\n"
    "                      Screen, ColorDodge, LinearDodge, Overlay, SoftLight, HardLight,\n"
    "                      VividLight, LinearLight, PinLight, HardMix, Difference, Exclusion,\n"
    "                      Lighten, HollowIn, HollowOut, TextBgHollowIn, Copy, Add\n"
    "                      (default Normal; 18 blends as Normal)\n"
    "  --opacity F         0..1; the strength is trunc(F x 255) (default 1)\n"
    "  --premultiplied     the layer's colour is already multiplied by its alpha\n"
    "  --place ...         eight fractions: the crop of the layer (x, y, width, height of the\n"
    "                      layer's size), its position (x, y of BASE's size) and, with\n"
    "                      --resize, its size (width, height of BASE's size); LAYER and BASE\n"
    "                      may then differ in size\n"
    "  --resize            scale the cropped layer to the --place size\n"
    "  --solid COLOR       blend this packed colour (0xAABBGGRR for BGRA images) with IMAGE\n";

uint32_t ParseMode(const std::string& text) {
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (digits) {
    const int64_t number = ParseInteger(text, "--mode");
    if (number > 23) UsageError("blend mode " + text + " is not one of 0..23");
    return static_cast<uint32_t>(number);
  }
  uint32_t mode = 0;
  if (!imageC::blendModeFromName(text, &mode)) {
    UsageError("unknown blend mode \"" + text + "\" (kazfx blend --help lists them)");
  }
  return mode;
}

imageC::LayerPlacement ParsePlacement(const std::string& text) {
  std::vector<double> numbers;
  std::stringstream parts(text);
  std::string part;
  while (std::getline(parts, part, ',')) numbers.push_back(ParseReal(part, "--place"));
  if (numbers.size() != 8 || text.back() == ',') {
    UsageError("--place needs eight numbers CX,CY,CW,CH,PX,PY,SW,SH, got \"" + text + "\"");
  }
  return {numbers[0], numbers[1], numbers[2], numbers[3],
          numbers[4], numbers[5], numbers[6], numbers[7]};
}

cv::Mat ReadImage(const std::string& path) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec))
    RunError("cannot read " + path + ": no such file");
  cv::Mat decoded = cv::imread(path, cv::IMREAD_UNCHANGED);
  if (decoded.empty()) RunError("cannot read " + path + ": not an image OpenCV can decode");
  return ToBgra(decoded, path);
}

void Write(const cv::Mat& image, const std::string& output) {
  std::unique_ptr<FrameSink> sink = OpenSink(output, MediaKind::kImage, 0, image.size());
  sink->Write(image, 0);
  sink->Commit();
}

std::string SizeText(const cv::Mat& m) {
  return std::to_string(m.cols) + "x" + std::to_string(m.rows);
}

}  // namespace

int RunBlend(const std::vector<std::string>& args) {
  const std::vector<OptionRule> rules = {{"mode", true},           {"opacity", true},
                                         {"premultiplied", false}, {"place", true},
                                         {"resize", false},        {"solid", true}};
  const Options options("blend", rules, args);
  if (options.Help()) {
    std::fputs(kUsage, stdout);
    return kExitOk;
  }
  const bool solid = options.Has("solid");
  const size_t wanted = solid ? 2 : 3;
  if (options.Positionals().size() != wanted) {
    UsageError(solid ? "blend --solid needs IMAGE and OUTPUT (see kazfx blend --help)"
                     : "blend needs LAYER, BASE and OUTPUT (see kazfx blend --help)");
  }
  if (solid && (options.Has("place") || options.Has("resize"))) {
    UsageError("--place and --resize are for layers, not --solid");
  }
  if (options.Has("resize") && !options.Has("place")) UsageError("--resize needs --place");

  const uint32_t mode = ParseMode(options.Value("mode", "Normal"));
  const double opacity = ParseReal(options.Value("opacity", "1"), "--opacity");
  if (opacity < 0 || opacity > 1) UsageError("--opacity must be within 0..1");
  const uint32_t strength = StrengthFromOpacity(static_cast<float>(opacity));
  const bool preAlpha = options.Has("premultiplied");
  const std::string output = options.Positionals().back();
  std::string ext = output.size() >= 4 ? output.substr(output.size() - 4) : "";
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ext != ".png") UsageError("blend writes PNG: OUTPUT must end in .png");
  // Eight bands as the effects use; the bytes do not depend on the count.
  constexpr int kBands = 8;

  if (solid) {
    const uint32_t color = ParseColor(options.Value("solid"), "--solid");
    cv::Mat image = ReadImage(options.Positionals()[0]);
    if (!imageC::blendSolidColor(image, color, mode, strength, preAlpha, kBands)) {
      RunError("the colour could not be blended with " + options.Positionals()[0]);
    }
    Write(image, output);
    return kExitOk;
  }

  const cv::Mat layer = ReadImage(options.Positionals()[0]);
  cv::Mat base = ReadImage(options.Positionals()[1]);
  bool blended;
  if (options.Has("place")) {
    const imageC::LayerPlacement placement = ParsePlacement(options.Value("place"));
    blended = imageC::blendLayer(layer, base, base, &placement, mode, static_cast<float>(opacity),
                                 preAlpha, options.Has("resize"), cv::INTER_LINEAR);
  } else {
    if (layer.size() != base.size()) {
      UsageError("LAYER is " + SizeText(layer) + " but BASE is " + SizeText(base) +
                 ": give --place to position a layer of another size");
    }
    blended = imageC::blendImage(layer, base, mode, strength, preAlpha, kBands);
  }
  if (!blended) RunError("the layer could not be blended with " + options.Positionals()[1]);
  Write(base, output);
  return kExitOk;
}

}  // namespace kazfx
