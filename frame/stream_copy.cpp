#include "frame/stream_copy.h"

#include <cstring>

namespace Tessel {
namespace {

// The string first (one copy when the packs lie back to back, as they
// usually do in the encoder's buffer), then the tables, all sized up front.
int build(lua_State* L) {
  const StreamView& v = *static_cast<const StreamView*>(lua_touserdata(L, 1));
  StreamPack p;
  std::size_t total = 0;
  bool contiguous = true;
  const char* first = nullptr;
  std::uint64_t firstPts = 0;
  for (std::uint32_t i = 0; i < v.count; ++i) {
    v.pack(v.packs, i, &p);
    if (i == 0) {
      first = static_cast<const char*>(p.data);
      firstPts = p.pts;
    } else if (static_cast<const char*>(p.data) != first + total) {
      contiguous = false;
    }
    total += p.length;
  }
  if (contiguous) {
    lua_pushlstring(L, first ? first : "", total);
  } else {
    luaL_Buffer b;
    char* out = luaL_buffinitsize(L, &b, total);
    for (std::uint32_t i = 0; i < v.count; ++i) {
      v.pack(v.packs, i, &p);
      std::memcpy(out, p.data, p.length);
      out += p.length;
    }
    luaL_pushresultsize(&b, total);
  }

  lua_createtable(L, 0, v.kinds ? 4 : 2);
  lua_pushinteger(L, static_cast<lua_Integer>(firstPts));
  lua_setfield(L, -2, "pts");
  lua_pushinteger(L, v.seq);
  lua_setfield(L, -2, "seq");
  if (!v.kinds) return 2;
  lua_createtable(L, static_cast<int>(v.count), 0);
  bool key = false;
  lua_Integer offset = 1;
  for (std::uint32_t i = 0; i < v.count; ++i) {
    v.pack(v.packs, i, &p);
    PackKind kind = v.kinds(p.type);
    key = key || kind.key;
    lua_createtable(L, 0, 5);
    if (kind.name) lua_pushstring(L, kind.name);
    else lua_pushinteger(L, p.type);
    lua_setfield(L, -2, "type");
    lua_pushinteger(L, offset);
    lua_setfield(L, -2, "offset");
    lua_pushinteger(L, static_cast<lua_Integer>(p.length));
    lua_setfield(L, -2, "length");
    lua_pushinteger(L, static_cast<lua_Integer>(p.pts));
    lua_setfield(L, -2, "pts");
    lua_pushboolean(L, p.frameEnd);
    lua_setfield(L, -2, "frameEnd");
    lua_rawseti(L, -2, static_cast<lua_Integer>(i) + 1);
    offset += static_cast<lua_Integer>(p.length);
  }
  lua_setfield(L, -2, "packs");
  lua_pushboolean(L, key);
  lua_setfield(L, -2, "keyframe");
  return 2;
}

}  // namespace

int copyStream(lua_State* L, const StreamView& view) {
  lua_pushcfunction(L, &build);
  lua_pushlightuserdata(L, const_cast<StreamView*>(&view));
  return lua_pcall(L, 1, 2, 0);
}

}  // namespace Tessel
