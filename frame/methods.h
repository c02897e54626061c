// Shapes shared by the operations of every module.
#pragma once

#include <cstdint>
#include <cstring>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/convert.h"
#include "frame/errors.h"

namespace Tessel {

// Setter of the table pattern: converts the table at position 2 into a T and
// hands it to the platform. A conversion failure gives nil and its text (the
// platform is not called); a platform failure gives nil and failText with the
// code; success gives true.
//   return setFromTable<VENC_PARAM_REF_S>(L, __func__, __LINE__, "Fail to ...",
//       [&](VENC_PARAM_REF_S* p) { return HI_MPI_VENC_SetRefParam(m_chnId, p); });
template <class T, class Call>
int setFromTable(lua_State* L, const char* func, int line, const char* failText, Call&& call) {
  T value;
  if (!readArg(L, 2, &value, func, line)) return 2;
  return pushStatus(L, call(&value), failText, func, line);
}

// Getter of the table pattern: asks the platform for a T and returns its table
// form, or nil and failText with the code.
template <class T, class Call>
int getAsTable(lua_State* L, const char* func, int line, const char* failText, Call&& call) {
  T value;
  std::memset(&value, 0, sizeof value);
  HI_S32 rc = call(&value);
  if (rc != HI_SUCCESS) return pushFailure(L, failText, func, line, rc);
  return pushResult(L, value, func, line);
}

// Returns a new object made by a Create... factory after running its
// Create(lua_State*) on the attribute value at the top of the stack. The
// object is anchored on the Lua stack while Create runs, so a Lua error raised
// by a conversion cannot leak it; what Create pushed is dropped.
template <class T>
RefCountedObjectPtr<T> createWith(lua_State* L, T* fresh) {
  int attrs = lua_gettop(L);
  push(L, fresh);              // Lua owns the object from here on
  lua_pushvalue(L, attrs);     // Create reads the last value on the stack
  fresh->Create(L);
  RefCountedObjectPtr<T> result(fresh);
  lua_settop(L, attrs);
  return result;
}

// Flag argument: a boolean counts as itself, a number as true when its integer
// value is nonzero; anything else (or nothing) as false.
inline bool flagArg(lua_State* L, int idx) {
  switch (lua_type(L, idx)) {
    case LUA_TBOOLEAN: return lua_toboolean(L, idx) != 0;
    case LUA_TNUMBER: return luaL_checkinteger(L, idx) != 0;
    default: return false;
  }
}

// Optional wait argument in milliseconds: -1 (wait as long as it takes) when
// absent or nil; another value that is no integer raises. Clamped to the
// platform's 32-bit range, so a huge wait stays a long one.
inline HI_S32 timeoutArg(lua_State* L, int idx) {
  lua_Integer ms = luaL_optinteger(L, idx, -1);
  if (ms < INT32_MIN) return INT32_MIN;
  if (ms > INT32_MAX) return INT32_MAX;
  return static_cast<HI_S32>(ms);
}

}  // namespace Tessel
