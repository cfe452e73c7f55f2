// SPDX-License-Identifier: MIT
#include "human_segment/model_file.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <nlohmann/json.hpp>

#include "human_segment/onnx_graph.h"
#include "human_segment/status.h"

namespace quorin::hs {

namespace {

using nlohmann::json;

// Manifests are a few hundred bytes; anything this large starting with '{' is not one.
constexpr size_t kMaxManifestBytes = 1 << 20;

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw Failure(kModelUnreadable, "'" + path + "' is a directory, not a model file");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure(kModelUnreadable, "cannot open model file '" + path + "'");
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                             std::istreambuf_iterator<char>());
  if (file.bad()) throw Failure(kModelUnreadable, "cannot read model file '" + path + "'");
  return bytes;
}

bool LooksLikeJson(const std::vector<uint8_t>& bytes) {
  size_t i = 0;
  if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) i = 3;
  while (i < bytes.size() &&
         (bytes[i] == ' ' || bytes[i] == '\t' || bytes[i] == '\r' || bytes[i] == '\n')) {
    ++i;
  }
  return i < bytes.size() && bytes[i] == '{';
}

// Reads manifest values with the file name and the key's path in every complaint.
class Fields {
 public:
  Fields(const json& object, std::string where, const std::string& file)
      : object_(object), where_(std::move(where)), file_(file) {
    if (!object_.is_object()) Fail(where_ + " must be an object");
  }

  // Unknown keys are errors: a misspelt option must not be ignored silently.
  void Allow(std::initializer_list<const char*> keys) const {
    for (auto it = object_.begin(); it != object_.end(); ++it) {
      bool known = false;
      for (const char* key : keys) known = known || it.key() == key;
      if (!known) Fail("unknown key \"" + it.key() + "\" in " + where_);
    }
  }

  bool Has(const char* key) const { return object_.contains(key); }
  const json& At(const char* key) const { return object_.at(key); }
  std::string Path(const char* key) const {
    return where_ == "manifest" ? key : where_ + "." + key;
  }

  std::string String(const char* key, const std::string& fallback) const {
    if (!Has(key)) return fallback;
    if (!At(key).is_string()) Fail(Path(key) + " must be a string");
    return At(key).get<std::string>();
  }

  // One of `choices`; returns its index.
  int Choice(const char* key, std::initializer_list<const char*> choices, int fallback) const {
    if (!Has(key)) return fallback;
    const std::string value = String(key, "");
    int index = 0;
    std::string list;
    for (const char* choice : choices) {
      if (value == choice) return index;
      list += (index++ ? ", \"" : "\"") + std::string(choice) + "\"";
    }
    Fail(Path(key) + " is \"" + value + "\"; expected one of " + list);
    return fallback;
  }

  int Int(const char* key, int lowest, int highest, int fallback) const {
    if (!Has(key)) return fallback;
    const json& value = At(key);
    if (!value.is_number_integer() || value.get<long long>() < lowest ||
        value.get<long long>() > highest) {
      Fail(Path(key) + " must be a whole number from " + std::to_string(lowest) + " to " +
           std::to_string(highest));
    }
    return value.get<int>();
  }

  bool Bool(const char* key, bool fallback) const {
    if (!Has(key)) return fallback;
    if (!At(key).is_boolean()) Fail(Path(key) + " must be true or false");
    return At(key).get<bool>();
  }

  float Number(const char* key, float fallback, bool nonZero) const {
    if (!Has(key)) return fallback;
    return CheckNumber(At(key), Path(key), nonZero);
  }

  // Three numbers, one per colour channel in the network's order, or one for all three.
  std::array<float, 3> Triple(const char* key, std::array<float, 3> fallback, bool nonZero) const {
    if (!Has(key)) return fallback;
    const json& value = At(key);
    if (value.is_number()) {
      const float v = CheckNumber(value, Path(key), nonZero);
      return {v, v, v};
    }
    if (!value.is_array() || value.size() != 3) {
      Fail(Path(key) + " must be a number or an array of three numbers");
    }
    std::array<float, 3> result{};
    for (size_t i = 0; i < 3; ++i) result[i] = CheckNumber(value[i], Path(key), nonZero);
    return result;
  }

  [[noreturn]] void Fail(const std::string& what) const {
    throw Failure(kModelInvalid, "manifest '" + file_ + "': " + what);
  }

 private:
  float CheckNumber(const json& value, const std::string& path, bool nonZero) const {
    if (!value.is_number()) Fail(path + " must be a number");
    const double v = value.get<double>();
    // Bounds that survive the conversion to float: no infinity, and no divisor that rounds
    // to zero.
    if (!std::isfinite(v) || std::fabs(v) > 1e30 || (nonZero && std::fabs(v) < 1e-30)) {
      Fail(path + (nonZero ? " must be a finite non-zero number" : " must be a finite number"));
    }
    return static_cast<float>(v);
  }

  const json& object_;
  std::string where_;
  const std::string& file_;
};

void ReadOnnxSections(const Fields& top, const std::string& path, OnnxSettings* s) {
  if (!top.Has("network")) top.Fail("\"network\" is missing (the ONNX file, relative to here)");
  const std::string network = top.String("network", "");
  if (network.empty()) top.Fail("\"network\" is empty");
  s->networkPath =
      (std::filesystem::path(path).parent_path() / std::filesystem::path(network)).string();

  const json empty = json::object();
  const Fields input(top.Has("input") ? top.At("input") : empty, "input", path);
  input.Allow({"width", "height", "layout", "colorOrder", "scale", "mean", "std"});
  s->width = input.Int("width", 1, 8192, 0);
  s->height = input.Int("height", 1, 8192, 0);
  if ((s->width == 0) != (s->height == 0)) top.Fail("give both input.width and input.height");
  s->inputLayout = input.Choice("layout", {"nchw", "nhwc"}, 0) == 0 ? Layout::kNchw : Layout::kNhwc;
  s->rgb = input.Choice("colorOrder", {"rgb", "bgr"}, 0) == 0;
  s->scale = input.Number("scale", s->scale, true);
  s->mean = input.Triple("mean", s->mean, false);
  s->std = input.Triple("std", s->std, true);

  const Fields output(top.Has("output") ? top.At("output") : empty, "output", path);
  output.Allow({"name", "layout", "personChannel", "activation"});
  s->outputName = output.String("name", "");
  const int inherited = s->inputLayout == Layout::kNchw ? 0 : 1;
  s->outputLayout =
      output.Choice("layout", {"nchw", "nhwc"}, inherited) == 0 ? Layout::kNchw : Layout::kNhwc;
  s->personChannel = output.Int("personChannel", 0, 4095, -1);
  static const Activation kActivations[] = {Activation::kNone, Activation::kSigmoid,
                                            Activation::kSoftmax};
  const int activation = output.Choice("activation", {"none", "sigmoid", "softmax"}, -1);
  s->activation = activation < 0 ? Activation::kAuto : kActivations[activation];
}

// Reads the network at `path` and its declared input; false when the file does not exist.
bool ReadNetwork(const std::string& path, const Fields& where, OnnxSettings* s) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return false;
  s->networkPath = path;
  s->network = ReadFile(path);
  OnnxInputInfo info;
  if (LooksLikeJson(s->network) || !ReadOnnxInput(s->network.data(), s->network.size(), &info)) {
    where.Fail("network '" + path + "' is not an ONNX model");
  }
  s->inputDims = info.dims;
  return true;
}

void ReadClassical(const Fields& top, const std::string& path, ClassicalSettings* c) {
  const json empty = json::object();
  const Fields options(top.Has("classical") ? top.At("classical") : empty, "classical", path);
  options.Allow({"workingSize", "peopleDetector", "faceCascade"});
  c->workingSize = options.Int("workingSize", 96, 1920, 384);
  c->peopleDetector = options.Bool("peopleDetector", true);
  if (options.Has("faceCascade")) {
    const std::string cascade = options.String("faceCascade", "");
    c->faceCascade =
        cascade.empty()
            ? cascade
            : (std::filesystem::path(path).parent_path() / std::filesystem::path(cascade)).string();
    c->faceCascadeRequired = !cascade.empty();
  }
}

void ReadMatte(const Fields& top, const std::string& path, MatteSettings* m) {
  if (!top.Has("matte")) top.Fail("\"matte\" is missing (its networks)");
  const Fields options(top.At("matte"), "matte", path);
  options.Allow({"network", "landscapeNetwork", "refineSize", "refineRadius", "refineEpsilon",
                 "window", "crops"});
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  const std::string square = options.String("network", "");
  if (square.empty()) options.Fail("matte.network is missing or empty");
  const std::string landscape = options.String("landscapeNetwork", "");
  m->installed =
      ReadNetwork((folder / square).string(), options, &m->square) &&
      (landscape.empty() || ReadNetwork((folder / landscape).string(), options, &m->landscape));
  m->refineSize = options.Int("refineSize", 64, 4096, m->refineSize);
  m->refineRadius = options.Int("refineRadius", 1, 64, m->refineRadius);
  m->refineEpsilon = options.Number("refineEpsilon", m->refineEpsilon, true);
  if (m->refineEpsilon < 0) options.Fail("matte.refineEpsilon must be positive");
  m->window = options.Int("window", 0, 8, m->window);
  m->crops = options.Int("crops", 0, 8, m->crops);
  for (OnnxSettings* net : {&m->square, &m->landscape}) {
    net->personChannel = 0;
    net->activation = Activation::kNone;
  }
}

ModelFile ReadManifest(const std::vector<uint8_t>& bytes, const std::string& path) {
  if (bytes.size() > kMaxManifestBytes) {
    throw Failure(kModelInvalid, "manifest '" + path + "' is larger than 1 MiB");
  }
  json document;
  try {
    document = json::parse(bytes.begin(), bytes.end());
  } catch (const json::exception& e) {
    throw Failure(kModelInvalid, "manifest '" + path + "' is not valid JSON: " + e.what());
  }
  const Fields top(document, "manifest", path);
  top.Allow({"backend", "network", "input", "output", "classical", "matte", "comment"});
  if (!top.Has("backend")) {
    top.Fail("\"backend\" is missing (\"onnx\", \"classical\" or \"matte\")");
  }
  if (top.Has("comment")) top.String("comment", "");

  ModelFile model;
  const int backend = top.Choice("backend", {"onnx", "classical", "matte"}, 0);
  if (backend != 0) {
    for (const char* key : {"network", "input", "output"}) {
      if (top.Has(key)) top.Fail(std::string("\"") + key + "\" belongs to the onnx backend");
    }
  }
  if (backend != 2 && top.Has("matte")) top.Fail("\"matte\" belongs to the matte backend");
  if (backend == 0) {
    model.backend = Backend::kOnnx;
    if (top.Has("classical")) top.Fail("\"classical\" options belong to the classical backend");
    ReadOnnxSections(top, path, &model.onnx);
    if (!ReadNetwork(model.onnx.networkPath, top, &model.onnx)) {
      throw Failure(kModelUnreadable, "cannot open model file '" + model.onnx.networkPath + "'");
    }
  } else {
    model.backend = backend == 1 ? Backend::kClassical : Backend::kMatte;
    ReadClassical(top, path, &model.classical);
    if (backend == 2) ReadMatte(top, path, &model.matte);
  }
  return model;
}

}  // namespace

ModelFile LoadModelFile(const std::string& path) {
  std::vector<uint8_t> bytes = ReadFile(path);
  if (LooksLikeJson(bytes)) return ReadManifest(bytes, path);
  OnnxInputInfo info;
  if (!ReadOnnxInput(bytes.data(), bytes.size(), &info)) {
    throw Failure(kModelInvalid,
                  "'" + path + "' is neither a JSON manifest nor an ONNX model with an input");
  }
  ModelFile model;
  model.backend = Backend::kOnnx;
  model.onnx.networkPath = path;
  model.onnx.network = std::move(bytes);
  model.onnx.inputDims = info.dims;
  return model;
}

}  // namespace quorin::hs
