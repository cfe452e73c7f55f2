// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/filter_params.h"

namespace vorta {

// An effect's description, read from its ".conf" or "filter.xml". Always held shared. The
// descriptive fields are filled by the reader before the information is shared and only read
// afterwards; the parameter and texture maps and the directories are guarded by the
// information's own mutex, since filters on several threads read them.
class NLEFilterInfo {
 public:
  std::string guid;
  std::string name;
  std::string openclPath;
  bool hasOpenCL = false;
  std::string openglPath;
  bool hasOpenGL = false;
  std::string openglVertexPath;
  bool hasOpenGLVertex = false;
  std::string openglType;
  int32_t dynamic = 0;
  std::string subGuid;
  bool transition = false;
  int32_t encrypted = 0;  // carried for the program files; nothing here reads encrypted content
  int32_t function = 0;
  int32_t innerRoi = 0;
  int32_t ignoreDefaults = 0;
  std::string mainTexture = "MAIN";

  int32_t ParamCount() const;
  // Null when the index is out of range.
  std::shared_ptr<NLEFilterParams> ParamAt(int32_t index) const;
  void AddParam(std::shared_ptr<NLEFilterParams> params);

  int32_t TextureCount() const;
  // Empty when the index is out of range.
  std::string TextureAt(int32_t index) const;
  void AddTexture(std::string texture);

  std::string ResourceDir() const;
  void SetResourceDir(std::string dir);
  std::string CloudResourceDir() const;
  void SetCloudResourceDir(std::string dir);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<NLEFilterParams>> params_;  // "Param[i]"
  std::map<std::string, std::string> textures_;                     // "Texture[i]"
  int32_t textureCount_ = 0;
  std::string resourceDir_;
  std::string cloudResourceDir_;
};

using FilterInfoPtr = std::shared_ptr<NLEFilterInfo>;

// Read one description. Null when the file cannot be opened, holds no usable description or has
// no GUID. Malformed content and wrong value types are logged at level 4 with the file and the
// reason; nothing throws.
FilterInfoPtr ReadFilterInfoFromConf(const std::string& path);
FilterInfoPtr ReadFilterInfoFromXml(const std::string& path);

// Appends every effect found under `directory`, depth first, each directory's children before
// its own description. Entries are visited in name order. In one directory a ".conf" description
// wins over a "filter.xml". Returns true when the directory and every subdirectory could be read.
bool ScanEffectDirectory(const std::string& directory, std::vector<FilterInfoPtr>& out,
                         bool markedOnly);

}  // namespace vorta
