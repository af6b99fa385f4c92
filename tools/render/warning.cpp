#include "tools/render/warning.hpp"

namespace vesk::tools {
namespace {

struct Row {
  WarningKind kind;
  const char* name;
  int strict_status;
};

constexpr Row rows[] = {
    {WarningKind::note, "note", 0},
    {WarningKind::no_such_parameter, "no_such_parameter", 3},
    {WarningKind::out_of_range, "out_of_range", 4},
    {WarningKind::no_preset, "no_preset", 5},
    {WarningKind::not_finite, "not_finite", 6},
    {WarningKind::silent, "silent", 7},
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
