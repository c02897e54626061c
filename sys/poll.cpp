// SYS.Poll: the wait on the descriptors of several objects at once.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <poll.h>

#include "platform/mpp.h"

#include "frame/errors.h"
#include "sys/sys.h"

namespace Tessel {
namespace {

// Objects polled without a Lua allocation.
constexpr lua_Unsigned kLocalPolls = 32;

// Whether the value at idx can be asked for a key without raising for want
// of a way to index it: a table, or a userdata whose metatable has __index.
bool indexable(lua_State* L, int idx) {
  switch (lua_type(L, idx)) {
    case LUA_TTABLE: return true;
    case LUA_TUSERDATA: {
      if (!lua_getmetatable(L, idx)) return false;
      lua_pushliteral(L, "__index");
      bool has = lua_rawget(L, -2) != LUA_TNIL;
      lua_pop(L, 2);
      return has;
    }
    default: return false;
  }
}

// The descriptor of the value at the top of the stack (popped), through its
// GetFd method; false when it has none or answers none.
bool descriptorOf(lua_State* L, int* fd) {
  if (!indexable(L, -1)) {
    lua_pop(L, 1);
    return false;
  }
  if (lua_getfield(L, -1, "GetFd") != LUA_TFUNCTION) {
    lua_pop(L, 2);
    return false;
  }
  lua_insert(L, -2);
  lua_call(L, 1, 1);
  int isNumber = 0;
  lua_Integer v = lua_tointegerx(L, -1, &isNumber);
  lua_pop(L, 1);
  if (!isNumber || v < 0 || v > INT_MAX) return false;
  *fd = static_cast<int>(v);
  return true;
}

}  // namespace

// Poll(objects, timeout): the descriptors and the positions of their objects
// live on the C stack or in a userdata made before any GetFd runs.
int SYS::Poll(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  lua_Integer ms = luaL_checkinteger(L, 2);
  const int timeout = ms < INT_MIN ? INT_MIN : ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
  lua_settop(L, 2);
  const lua_Unsigned count = lua_rawlen(L, 1);
  struct pollfd localFds[kLocalPolls];
  lua_Integer localAt[kLocalPolls];
  struct pollfd* fds = localFds;
  lua_Integer* at = localAt;
  if (count > kLocalPolls) {
    void* block = lua_newuserdata(L, count * (sizeof(struct pollfd) + sizeof(lua_Integer)));
    at = static_cast<lua_Integer*>(block);  // the stricter alignment first
    fds = reinterpret_cast<struct pollfd*>(at + count);
  }
  unsigned long used = 0;
  for (lua_Unsigned i = 1; i <= count; ++i) {
    lua_rawgeti(L, 1, static_cast<lua_Integer>(i));
    int fd;
    if (!descriptorOf(L, &fd)) continue;
    fds[used].fd = fd;
    fds[used].events = POLLIN;
    fds[used].revents = 0;
    at[used++] = static_cast<lua_Integer>(i);
  }
  if (!used) return TESSEL_FAIL(L, "No object to poll");
  int ready = tessel_dev_poll(fds, used, timeout);
  if (ready < 0) {
    char text[160];
    std::snprintf(text, sizeof text, "Fail to poll: %s", std::strerror(errno));
    return TESSEL_FAIL(L, text);
  }
  lua_createtable(L, ready, 0);
  lua_Integer n = 0;
  for (unsigned long k = 0; k < used; ++k) {
    if (!fds[k].revents) continue;
    lua_rawgeti(L, 1, at[k]);
    lua_rawseti(L, -2, ++n);
  }
  return 1;
}

}  // namespace Tessel
