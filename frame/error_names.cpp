// require "tessel.errors": the platform's symbolic name and, in words, the
// module and reason of any platform error code, however a script holds it
// (a negative status, the unsigned code, or a failure message carrying
// "error=XXXXXXXX"). Lua finds it inside tessel.so (its loader for
// "tessel.errors" looks for luaopen_tessel_errors there), board builds
// included: nothing here needs the simulator.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <lua.hpp>

/***
The platform's error codes by name: `local errors = require "tessel.errors"` (host and board
builds). A code may be held as the signed status a call answered, as the unsigned 32-bit code, as
a string holding either, or as a failure message carrying "error=XXXXXXXX".
@module tessel.errors
*/

namespace {

struct ErrorName {
  std::uint32_t code;
  const char* symbol;
  const char* module;
  const char* reason;
};

const ErrorName kErrors[] = {
#include "hi_error_names.inc"
};

// The code a Lua value names, or false: an integer (the signed status or
// the unsigned code), a string holding one, or a message with
// "error=XXXXXXXX" in it.
bool codeOf(lua_State* L, int idx, std::uint32_t* code) {
  if (lua_type(L, idx) == LUA_TSTRING) {
    const char* s = lua_tostring(L, idx);
    if (const char* at = std::strstr(s, "error=")) {
      char* end = nullptr;
      unsigned long v = std::strtoul(at + 6, &end, 16);
      if (end != at + 14) return false;
      *code = static_cast<std::uint32_t>(v);
      return true;
    }
  }
  int exact = 0;
  lua_Integer v = lua_tointegerx(L, idx, &exact);  // numbers, and strings holding one
  if (!exact || v < INT32_MIN || v > static_cast<lua_Integer>(UINT32_MAX)) return false;
  *code = static_cast<std::uint32_t>(v);
  return true;
}

const ErrorName* lookup(lua_State* L) {
  std::uint32_t code;
  if (!codeOf(L, 1, &code)) return nullptr;
  const ErrorName* end = kErrors + sizeof kErrors / sizeof kErrors[0];
  const ErrorName* it =
      std::lower_bound(kErrors, end, code, [](const ErrorName& e, std::uint32_t c) { return e.code < c; });
  return it != end && it->code == code ? it : nullptr;
}

/***
The platform's symbolic name of an error code.
@function name
@tparam int|string code
@treturn string|nil "HI_ERR_VENC_EXIST", say, or `nil` for a value that names no platform error
*/
int name(lua_State* L) {
  const ErrorName* e = lookup(L);
  if (e) lua_pushstring(L, e->symbol);
  else lua_pushnil(L);
  return 1;
}

/***
The module and reason of an error code, in words.
@function describe
@tparam int|string code
@treturn string|nil "VENC: already exists", say, or `nil` for a value that names no platform error
*/
int describe(lua_State* L) {
  const ErrorName* e = lookup(L);
  if (e) lua_pushfstring(L, "%s: %s", e->module, e->reason);
  else lua_pushnil(L);
  return 1;
}

const luaL_Reg kFunctions[] = {{"name", name}, {"describe", describe}, {nullptr, nullptr}};

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_tessel_errors(lua_State* L) {
  luaL_newlib(L, kFunctions);
  return 1;
}
