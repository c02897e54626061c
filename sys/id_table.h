// Tables of platform numbers and their names (module identifiers, buffer
// users). Each table is a list of rows ended by a row whose number is the
// table's end value; the end row's name is never used.
#pragma once

#include <cstring>

#include <lua.hpp>

#include "frame/convert.h"

namespace Tessel {

struct IdName {
  int id;
  const char* name;
};

// Name of id: row 0 answers for 0; other numbers are looked up from the second
// row on, and a number without a row (the end value included) is "invalid".
template <int N>
const char* idToName(const IdName (&rows)[N], int id) {
  const int end = rows[N - 1].id;
  if (id == 0) return rows[0].name;
  for (const IdName* row = rows + 1; row->id != end; ++row)
    if (row->id == id) return row->name;
  return "invalid";
}

// Number of name (case-sensitive); the table's end value when no row has it.
template <int N>
int nameToId(const IdName (&rows)[N], const char* name) {
  const int end = rows[N - 1].id;
  for (const IdName* row = rows; row->id != end; ++row)
    if (std::strcmp(row->name, name) == 0) return row->id;
  return end;
}

// Number given at idx as a name of the table or as a number (taken as it is).
// Answers false for a name without a row and for values of other types.
template <int N>
bool idArg(lua_State* L, int idx, const IdName (&rows)[N], int* id) {
  switch (lua_type(L, idx)) {
    case LUA_TNUMBER:
      *id = static_cast<int>(toInteger(L, idx));
      return true;
    case LUA_TSTRING:
      *id = nameToId(rows, lua_tostring(L, idx));
      return *id != rows[N - 1].id;
    default:
      return false;
  }
}

}  // namespace Tessel
