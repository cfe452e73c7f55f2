// SPDX-License-Identifier: MIT
#include "human_segment/onnx_graph.h"

#include <algorithm>
#include <set>

namespace quorin::hs {

namespace {

// A minimal protobuf wire-format reader: enough to walk ModelProto.graph.input and
// .initializer. Every read is bounds-checked; a malformed message ends the walk with false.
class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}

  bool AtEnd() const { return p_ == end_; }

  bool Varint(uint64_t* value) {
    uint64_t result = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      if (p_ == end_) return false;
      const uint8_t byte = *p_++;
      result |= static_cast<uint64_t>(byte & 0x7f) << shift;
      if ((byte & 0x80) == 0) {
        *value = result;
        return true;
      }
    }
    return false;
  }

  // Reads one field's key and, for length-delimited fields, its payload.
  bool Next(uint32_t* field, uint32_t* wire, Reader* payload, uint64_t* number) {
    uint64_t key = 0;
    if (!Varint(&key)) return false;
    *field = static_cast<uint32_t>(key >> 3);
    *wire = static_cast<uint32_t>(key & 7);
    if (*field == 0) return false;
    switch (*wire) {
      case 0:
        return Varint(number);
      case 1:
        return Skip(8);
      case 5:
        return Skip(4);
      case 2: {
        uint64_t length = 0;
        if (!Varint(&length) || length > static_cast<uint64_t>(end_ - p_)) return false;
        *payload = Reader(p_, static_cast<size_t>(length));
        p_ += length;
        return true;
      }
      default:  // groups (3, 4) are not used by ONNX
        return false;
    }
  }

  std::string String() const { return std::string(reinterpret_cast<const char*>(p_), end_ - p_); }

 private:
  bool Skip(size_t count) {
    if (static_cast<size_t>(end_ - p_) < count) return false;
    p_ += count;
    return true;
  }

  const uint8_t* p_;
  const uint8_t* end_;
};

// Walks a message and calls visit(field, wire, payload, number) per field; false when malformed.
template <typename Visit>
bool Walk(Reader reader, Visit visit) {
  while (!reader.AtEnd()) {
    uint32_t field = 0, wire = 0;
    Reader payload(nullptr, 0);
    uint64_t number = 0;
    if (!reader.Next(&field, &wire, &payload, &number)) return false;
    if (!visit(field, wire, payload, number)) return false;
  }
  return true;
}

bool ReadDim(Reader dim, int64_t* value) {
  *value = -1;
  return Walk(dim, [&](uint32_t field, uint32_t wire, Reader&, uint64_t number) {
    if (field == 1 && wire == 0) *value = static_cast<int64_t>(number);  // dim_value
    return true;
  });
}

// ValueInfoProto { name = 1; type = 2 { tensor_type = 1 { shape = 2 { dim = 1 } } } }
bool ReadValueInfo(Reader info, OnnxInputInfo* out) {
  return Walk(info, [&](uint32_t field, uint32_t wire, Reader& payload, uint64_t) {
    if (wire != 2) return true;
    if (field == 1) out->name = payload.String();
    if (field != 2) return true;
    return Walk(payload, [&](uint32_t f, uint32_t w, Reader& tensor, uint64_t) {
      if (f != 1 || w != 2) return true;
      return Walk(tensor, [&](uint32_t g, uint32_t v, Reader& shape, uint64_t) {
        if (g != 2 || v != 2) return true;
        return Walk(shape, [&](uint32_t h, uint32_t u, Reader& dim, uint64_t) {
          if (h != 1 || u != 2) return true;
          int64_t value = -1;
          if (!ReadDim(dim, &value)) return false;
          out->dims.push_back(value);
          return true;
        });
      });
    });
  });
}

}  // namespace

bool ReadOnnxInput(const uint8_t* data, size_t size, OnnxInputInfo* info) {
  std::vector<OnnxInputInfo> inputs;
  std::set<std::string> initializers;
  bool hasGraph = false;
  const bool ok =
      Walk(Reader(data, size), [&](uint32_t field, uint32_t wire, Reader& graph, uint64_t) {
        if (field != 7 || wire != 2) return true;  // ModelProto.graph
        hasGraph = true;
        return Walk(graph, [&](uint32_t f, uint32_t w, Reader& payload, uint64_t) {
          if (w != 2) return true;
          if (f == 11) {  // GraphProto.input
            inputs.emplace_back();
            return ReadValueInfo(payload, &inputs.back());
          }
          if (f == 5) {  // GraphProto.initializer: TensorProto.name = 8
            return Walk(payload, [&](uint32_t g, uint32_t v, Reader& name, uint64_t) {
              if (g == 8 && v == 2) initializers.insert(name.String());
              return true;
            });
          }
          return true;
        });
      });
  if (!ok || !hasGraph) return false;
  // Older exporters list the weights among the inputs; the image is the first that is not one.
  for (const OnnxInputInfo& input : inputs) {
    if (initializers.count(input.name) == 0) {
      *info = input;
      return true;
    }
  }
  return false;
}

}  // namespace quorin::hs
