#pragma once

// Owners for what lilv hands out.

#include <lilv/lilv.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>

namespace vesk::lv2::scan {

template <auto Free>
struct LilvFree {
  template <typename T>
  void operator()(T* what) const {
    Free(what);
  }
};

using World = std::unique_ptr<LilvWorld, LilvFree<lilv_world_free>>;
using Node = std::unique_ptr<LilvNode, LilvFree<lilv_node_free>>;
using Nodes = std::unique_ptr<LilvNodes, LilvFree<lilv_nodes_free>>;

/// Calls `visit` with each node; null lists are empty.
template <typename Visit>
void for_each(const LilvNodes* nodes, Visit&& visit) {
  if (!nodes) return;
  for (LilvIter* i = lilv_nodes_begin(nodes); !lilv_nodes_is_end(nodes, i);
       i = lilv_nodes_next(nodes, i)) {
    visit(lilv_nodes_get(nodes, i));
  }
}

inline std::string uri_of(const LilvNode* node) {
  return node && lilv_node_is_uri(node) ? lilv_node_as_uri(node) : std::string();
}

/// A literal's text on one line.
inline std::string text_of(const LilvNode* node) {
  if (!node || !lilv_node_is_literal(node)) return {};
  std::string text = lilv_node_as_string(node);
  for (char& c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  return text;
}

/// A finite number, also from a literal that was meant to be one.
inline std::optional<float> float_of(const LilvNode* node) {
  if (!node) return {};
  float value = 0;
  if (lilv_node_is_float(node) || lilv_node_is_int(node))
    value = lilv_node_as_float(node);
  else if (lilv_node_is_bool(node))
    value = lilv_node_as_bool(node) ? 1.0f : 0.0f;
  else
    return {};
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

inline std::uint32_t unsigned_of(const LilvNode* node) {
  const auto value = float_of(node);
  return lilv_node_is_int(node) && lilv_node_as_int(node) > 0
             ? static_cast<std::uint32_t>(lilv_node_as_int(node))
         : value && *value > 0 && *value < 1e9f ? static_cast<std::uint32_t>(*value)
                                                : 0u;
}

/// The path of a file URI, decoded; empty for anything else.
inline std::string path_of(const LilvNode* node) {
  if (!node || !lilv_node_is_uri(node)) return {};
  char* path = lilv_file_uri_parse(lilv_node_as_uri(node), nullptr);
  std::string result = path ? path : "";
  lilv_free(path);
  return result;
}

}  // namespace vesk::lv2::scan
