#include "tools/render/warning.hpp"

namespace vesk::tools {
namespace {

struct Row {
  const char* name;
  WarningKind kind;
  int strict_status;
};

constexpr Row rows[] = {
    {"note", WarningKind::note, 0},
    {"no_such_parameter", WarningKind::no_such_parameter, 3},
    {"out_of_range", WarningKind::out_of_range, 4},
    {"no_preset", WarningKind::no_preset, 5},
    {"not_finite", WarningKind::not_finite, 6},
    {"silent", WarningKind::silent, 7},
};

const Row& row_of(WarningKind kind) {
  for (const Row& row : rows)
    if (row.kind == kind) return row;
  return rows[0];
}

}  // namespace

const char* name_of(WarningKind kind) {
  return row_of(kind).name;
}

int strict_status(const std::vector<Warning>& warnings) {
  for (const Warning& warning : warnings)
    if (const int status = row_of(warning.kind).strict_status; status != 0) return status;
  return 0;
}

}  // namespace vesk::tools
