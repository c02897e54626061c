#include "frame/errors.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <ostream>

#include <lua.hpp>

namespace Tessel {

const DebugTime _TESSEL_DBG_TIME;

const char* DebugTime::TimeString(char* buf) const {
  std::time_t now = std::time(nullptr);
  std::tm tm;
  if (!localtime_r(&now, &tm)) return nullptr;
  return formatTimeStamp(tm, buf);
}

const char* formatTimeStamp(const struct tm& tm, char* buf) {
  std::snprintf(buf, 32, "[%02d-%02d %02d:%02d:%02d]", tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
                tm.tm_min, tm.tm_sec);
  return buf;
}

std::ostream& operator<<(std::ostream& os, const DebugTime& t) {
  char buf[32];
  if (const char* s = t.TimeString(buf))
    os << s;
  else
    os.setstate(std::ios_base::badbit);
  return os << ' ';
}

MPPConvException::MPPConvException(const char* msg) {
  std::strncpy(m_msg, msg ? msg : "", sizeof m_msg);
  m_msg[sizeof m_msg - 1] = '\0';
}

int pushFailure(lua_State* L, const char* text, const char* func, int line) {
  char buf[256];
  std::snprintf(buf, sizeof buf, "%s [@%s: line %d]", text, func, line);
  lua_pushnil(L);
  lua_pushstring(L, buf);
  return 2;
}

int pushFailure(lua_State* L, const char* text, const char* func, int line, std::int32_t code) {
  char buf[256];
  std::snprintf(buf, sizeof buf, "%s [@%s: line %d - error=%08X]", text, func, line,
                static_cast<unsigned>(code));
  lua_pushnil(L);
  lua_pushstring(L, buf);
  return 2;
}

int pushRefusal(lua_State* L, const char* text) {
  lua_pushnil(L);
  lua_pushstring(L, text);
  return 2;
}

int pushSuccess(lua_State* L) {
  lua_pushboolean(L, 1);
  return 1;
}

int pushStatus(lua_State* L, std::int32_t rc, const char* text, const char* func, int line) {
  return rc == 0 ? pushSuccess(L) : pushFailure(L, text, func, line, rc);
}

}  // namespace Tessel
