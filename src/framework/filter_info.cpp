// SPDX-License-Identifier: MIT
#include "framework/filter_info.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <tinyxml2.h>
#include <nlohmann/json.hpp>

#include "api/log.h"

namespace vorta {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

std::string IndexKey(const char* prefix, int32_t index) {
  return std::string(prefix) + "[" + std::to_string(index) + "]";
}

}  // namespace

int32_t NLEFilterInfo::ParamCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int32_t>(params_.size());
}

std::shared_ptr<NLEFilterParams> NLEFilterInfo::ParamAt(int32_t index) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = params_.find(IndexKey("Param", index));
  return it == params_.end() ? nullptr : it->second;
}

void NLEFilterInfo::AddParam(std::shared_ptr<NLEFilterParams> params) {
  std::lock_guard<std::mutex> lock(mutex_);
  params_[IndexKey("Param", static_cast<int32_t>(params_.size()))] = std::move(params);
}

int32_t NLEFilterInfo::TextureCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return textureCount_;
}

std::string NLEFilterInfo::TextureAt(int32_t index) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = textures_.find(IndexKey("Texture", index));
  return it == textures_.end() ? std::string() : it->second;
}

void NLEFilterInfo::AddTexture(std::string texture) {
  std::lock_guard<std::mutex> lock(mutex_);
  textures_[IndexKey("Texture", textureCount_)] = std::move(texture);
  textureCount_ = static_cast<int32_t>(textures_.size());
}

std::string NLEFilterInfo::ResourceDir() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return resourceDir_;
}

void NLEFilterInfo::SetResourceDir(std::string dir) {
  std::lock_guard<std::mutex> lock(mutex_);
  resourceDir_ = std::move(dir);
}

std::string NLEFilterInfo::CloudResourceDir() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cloudResourceDir_;
}

void NLEFilterInfo::SetCloudResourceDir(std::string dir) {
  std::lock_guard<std::mutex> lock(mutex_);
  cloudResourceDir_ = std::move(dir);
}

namespace {

bool ReadWholeFile(const std::string& path, std::string& content) {
  std::ifstream in(fs::u8path(path), std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  content = buffer.str();
  return true;
}

void LogSkipped(const std::string& path, const char* reason) {
  kaz::Log(kaz::kLogError, "effect description %s skipped: %s\n", path.c_str(), reason);
}

// "DYNAMIC" and "ENCRYPT" hold their integers as text.
int32_t IntegerText(const json& value) { return std::stoi(value.get<std::string>()); }

void ReadTextures(const json& textures, const std::string& dir, NLEFilterInfo& info) {
  if (!textures.is_array()) {
    throw std::invalid_argument("\"TEXTURES\" must be an array, but is " +
                                std::string(textures.type_name()));
  }
  for (const json& texture : textures) {
    if (texture.is_null() || (texture.is_object() && texture.empty())) continue;
    const std::string type = texture.at("TYPE").get<std::string>();
    const std::string file = texture.at("FILE").get<std::string>();
    info.AddTexture(type == "image" ? dir + file : type + "|" + dir + file);
  }
}

FilterInfoPtr ParseConf(const std::string& content, const std::string& dir) {
  const json doc = json::parse(content);
  if (doc.is_null() || (doc.is_structured() && doc.empty())) return nullptr;
  if (!doc.is_object()) {
    throw std::invalid_argument("the description is a JSON " + std::string(doc.type_name()) +
                                ", not an object");
  }
  auto info = std::make_shared<NLEFilterInfo>();
  if (!doc.contains("GUID")) return nullptr;
  info->guid = doc["GUID"].get<std::string>();
  if (info->guid.empty()) return nullptr;

  // Keys are read in the order a description declares its programs, then its settings.
  auto programPath = [&](const char* key, std::string& path, bool& has) {
    if (!doc.contains(key)) return;
    path = dir + doc[key].get<std::string>();
    has = true;
  };
  programPath("OPENCL", info->openclPath, info->hasOpenCL);
  programPath("OPENGL", info->openglPath, info->hasOpenGL);
  programPath("OPENGL_VERTEX", info->openglVertexPath, info->hasOpenGLVertex);
  if (doc.contains("NAME")) info->name = doc["NAME"].get<std::string>();
  if (doc.contains("DYNAMIC")) info->dynamic = IntegerText(doc["DYNAMIC"]);
  if (doc.contains("OPENGL_TYPE")) info->openglType = doc["OPENGL_TYPE"].get<std::string>();
  if (doc.contains("SUB_GUID")) info->subGuid = doc["SUB_GUID"].get<std::string>();
  info->transition = doc.contains("TRANSITION");
  if (doc.contains("ENCRYPT")) info->encrypted = IntegerText(doc["ENCRYPT"]);
  if (doc.contains("FUNCTION")) info->function = Int32Field(doc["FUNCTION"], "FUNCTION");
  if (doc.contains("INNERROI")) info->innerRoi = Int32Field(doc["INNERROI"], "INNERROI");
  if (doc.contains("IGNOREDEF")) info->ignoreDefaults = Int32Field(doc["IGNOREDEF"], "IGNOREDEF");
  if (doc.contains("TEXTURES")) ReadTextures(doc["TEXTURES"], dir, *info);
  if (doc.contains("PARAMS")) ReadParams(doc["PARAMS"], *info);
  return info;
}

}  // namespace

FilterInfoPtr ReadFilterInfoFromConf(const std::string& path) {
  std::string content;
  if (!ReadWholeFile(path, content)) return nullptr;
  const size_t slash = path.find_last_of("\\/");
  const std::string dir = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  try {
    return ParseConf(content, dir);
  } catch (const std::exception& e) {
    LogSkipped(path, e.what());
    return nullptr;
  }
}

FilterInfoPtr ReadFilterInfoFromXml(const std::string& path) {
  std::string content;
  if (!ReadWholeFile(path, content)) return nullptr;
  tinyxml2::XMLDocument doc(true, tinyxml2::PRESERVE_WHITESPACE);
  if (doc.Parse(content.data(), content.size()) != tinyxml2::XML_SUCCESS) {
    LogSkipped(path, doc.ErrorStr());
    return nullptr;
  }
  auto info = std::make_shared<NLEFilterInfo>();
  if (const tinyxml2::XMLElement* filter = doc.FirstChildElement("Filter")) {
    auto childText = [&](const char* name, std::string& out) {
      if (const tinyxml2::XMLElement* child = filter->FirstChildElement(name)) {
        const char* text = child->GetText();
        out = text ? text : "";
      }
    };
    childText("GUID", info->guid);
    childText("Name", info->name);
  }
  return info;
}

namespace {

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

bool ScanInto(const std::string& directory, std::vector<FilterInfoPtr>& out, bool markedOnly,
              std::set<fs::path>& open) {
  std::error_code ec;
  const fs::path dirPath = fs::u8path(directory);
  fs::directory_iterator it(dirPath, ec);
  if (ec) return false;
  std::vector<fs::directory_entry> entries;
  for (; it != fs::directory_iterator(); it.increment(ec)) {
    if (ec) return false;
    entries.push_back(*it);
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });

  // A linked directory that leads back into the scan would recurse forever.
  const fs::path self = fs::weakly_canonical(dirPath, ec);
  if (!open.insert(self).second) return true;

  bool ok = true;
  std::string conf, xml;
  for (const auto& entry : entries) {
    const std::string name = entry.path().filename().u8string();
    const std::string child = directory + "/" + name;
    if (entry.is_directory(ec)) {
      if (name == "." || name == "..") continue;
      if (!markedOnly || Contains(name, "2_") || Contains(name, "3_") || Contains(name, "4_") ||
          Contains(name, "16_")) {
        // A marked directory is a category of effects: everything below it is read.
        ok = ScanInto(child, out, false, open) && ok;
      }
    } else if (!markedOnly) {
      if (Contains(name, ".conf")) {
        conf = child;
      } else if (Contains(name, "filter.xml")) {
        xml = child;
      }
    }
  }
  open.erase(self);

  FilterInfoPtr info;
  if (!conf.empty()) {
    info = ReadFilterInfoFromConf(conf);
  } else if (!xml.empty()) {
    info = ReadFilterInfoFromXml(xml);
  }
  if (info) out.push_back(std::move(info));
  return ok;
}

}  // namespace

bool ScanEffectDirectory(const std::string& directory, std::vector<FilterInfoPtr>& out,
                         bool markedOnly) {
  std::set<fs::path> open;
  return ScanInto(directory, out, markedOnly, open);
}

}  // namespace vorta
