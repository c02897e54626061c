#include "frame/convert.h"

#include <cctype>
#include <strings.h>

namespace Tessel {

lua_Integer toInteger(lua_State* L, int idx) {
  int isnum = 0;
  lua_Integer v = lua_tointegerx(L, idx, &isnum);
  if (!isnum) luaL_error(L, "number has no integer representation");
  return v;
}

bool getInteger(lua_State* L, int table, const char* key, lua_Integer* out) {
  bool number = lua_getfield(L, table, key) == LUA_TNUMBER;
  if (number) *out = toInteger(L, -1);
  lua_pop(L, 1);
  return number;
}

namespace {

template <class I>
void store(void* at, lua_Integer v) {
  I x = static_cast<I>(v);
  std::memcpy(at, &x, sizeof x);
}

template <class I>
lua_Integer load(const void* at) {
  I x;
  std::memcpy(&x, at, sizeof x);
  return static_cast<lua_Integer>(x);
}

// Reads the value at the top of the stack, of Lua type t, into one field.
void readField(lua_State* L, int t, const Field& f, char* base) {
  char* at = base + f.offset;
  switch (f.kind) {
    case Kind::Bool:
      if (t == LUA_TBOOLEAN) store<std::int32_t>(at, lua_toboolean(L, -1));
      else if (t == LUA_TNUMBER) store<std::int32_t>(at, toInteger(L, -1));
      return;
    case Kind::Flag:
      if (t == LUA_TBOOLEAN) store<std::int32_t>(at, lua_toboolean(L, -1));
      else if (t == LUA_TNUMBER) store<std::int32_t>(at, toInteger(L, -1) != 0);
      return;
    case Kind::Enum:
      if (t != LUA_TNIL) f.conv->read(L, lua_gettop(L), at, f.conv->aux);
      return;
    case Kind::Nested:
      if (t == LUA_TTABLE || (t != LUA_TNIL && f.conv->anyValue)) f.conv->read(L, lua_gettop(L), at, f.conv->aux);
      return;
    default:
      break;
  }
  if (t != LUA_TNUMBER) return;
  lua_Integer v = toInteger(L, -1);
  switch (f.kind) {
    case Kind::U8: store<std::uint8_t>(at, v); break;
    case Kind::S8: store<std::int8_t>(at, v); break;
    case Kind::U16: store<std::uint16_t>(at, v); break;
    case Kind::S16: store<std::int16_t>(at, v); break;
    case Kind::U32: store<std::uint32_t>(at, v); break;
    case Kind::S32: store<std::int32_t>(at, v); break;
    case Kind::U64: store<std::uint64_t>(at, v); break;
    case Kind::S64: store<std::int64_t>(at, v); break;
    default: break;
  }
}

// Pushes one field's value.
void pushField(lua_State* L, const Field& f, const char* base) {
  const char* at = base + f.offset;
  switch (f.kind) {
    case Kind::U8: lua_pushinteger(L, load<std::uint8_t>(at)); break;
    case Kind::S8: lua_pushinteger(L, load<std::int8_t>(at)); break;
    case Kind::U16: lua_pushinteger(L, load<std::uint16_t>(at)); break;
    case Kind::S16: lua_pushinteger(L, load<std::int16_t>(at)); break;
    case Kind::U32: lua_pushinteger(L, load<std::uint32_t>(at)); break;
    case Kind::S32: lua_pushinteger(L, load<std::int32_t>(at)); break;
    case Kind::U64: lua_pushinteger(L, load<std::uint64_t>(at)); break;
    case Kind::S64: lua_pushinteger(L, load<std::int64_t>(at)); break;
    case Kind::Bool:
    case Kind::Flag: lua_pushboolean(L, load<std::int32_t>(at) != 0); break;
    case Kind::Enum:
    case Kind::Nested: f.conv->push(L, at, f.conv->aux); break;
  }
}

// ASCII letters in lower case; other bytes as they are.
inline unsigned char folded(char c) {
  unsigned char u = static_cast<unsigned char>(c);
  return u >= 'A' && u <= 'Z' ? static_cast<unsigned char>(u | 0x20) : u;
}

bool sameName(const char* a, const char* b) {
  // The first letters settle most comparisons without a call.
  return folded(*a) == folded(*b) && strcasecmp(a, b) == 0;
}

}  // namespace

void readStruct(lua_State* L, int idx, void* out, const StructDesc& d) {
  if (lua_type(L, idx) != LUA_TTABLE) convFail(d.notTable);
  std::memset(out, 0, d.size);
  int top = lua_gettop(L);
  char* base = static_cast<char*>(out);
  try {
    for (const Field* f = d.fields; f != d.fields + d.count; ++f) {
      readField(L, lua_getfield(L, idx, f->key), *f, base);
      lua_settop(L, top);
    }
  } catch (...) {
    lua_settop(L, top);
    throw;
  }
}

void pushStruct(lua_State* L, const void* in, const StructDesc& d) {
  int top = lua_gettop(L);
  const char* base = static_cast<const char*>(in);
  lua_createtable(L, 0, static_cast<int>(d.count));
  try {
    for (const Field* f = d.fields; f != d.fields + d.count; ++f) {
      pushField(L, *f, base);
      lua_setfield(L, -2, f->outKey);
    }
  } catch (...) {
    lua_settop(L, top);
    throw;
  }
}

void readUnionStruct(lua_State* L, int idx, void* out, const UnionStruct& u) {
  readStruct(L, idx, out, u.head);  // zeroes the whole structure, reads the fixed fields in order
  const Converter* conv = u.member(out);
  if (!conv) return;
  int top = lua_gettop(L);
  if (lua_getfield(L, idx, u.key) != LUA_TNIL) {
    try {
      conv->read(L, lua_gettop(L), static_cast<char*>(out) + u.memberOffset, conv->aux);
    } catch (...) {
      lua_settop(L, top);
      throw;
    }
  }
  lua_settop(L, top);
}

void pushUnionStruct(lua_State* L, const void* in, const UnionStruct& u) {
  pushStruct(L, in, u.head);
  if (const Converter* conv = u.member(in)) {
    conv->push(L, static_cast<const char*>(in) + u.memberOffset, conv->aux);
    lua_setfield(L, -2, u.key);
  }
}

void readStructConv(lua_State* L, int idx, void* out, const void* desc) {
  readStruct(L, idx, out, *static_cast<const StructDesc*>(desc));
}

void pushStructConv(lua_State* L, const void* in, const void* desc) {
  pushStruct(L, in, *static_cast<const StructDesc*>(desc));
}

bool readEnum(lua_State* L, int idx, std::int32_t* out, const EnumDesc& d) {
  Miss miss;
  std::int32_t value;
  const char* text;
  switch (lua_type(L, idx)) {
    case LUA_TNUMBER:
      *out = static_cast<std::int32_t>(toInteger(L, idx));
      return true;
    case LUA_TSTRING: {
      const char* s = lua_tostring(L, idx);
      for (const EnumRow* r = d.rows; r != d.rows + d.count; ++r) {
        if (r->use != kOutOnly && sameName(s, r->name)) {
          *out = r->value;
          return true;
        }
      }
      miss = d.unknownString;
      value = d.unknownStringValue;
      text = d.unknownStringText;
      break;
    }
    default:
      miss = d.otherType;
      value = d.otherTypeValue;
      text = d.otherTypeText;
      break;
  }
  switch (miss) {
    case Miss::Value: *out = value; return true;
    case Miss::Throw: convFail(text);
    case Miss::Leave: break;
  }
  return false;
}

const char* enumName(std::int32_t value, const EnumDesc& d) {
  for (const EnumRow* r = d.rows; r != d.rows + d.count; ++r)
    if (r->value == value && r->use != kInOnly) return r->name;
  return nullptr;
}

void pushEnum(lua_State* L, std::int32_t value, const EnumDesc& d) {
  const char* name = enumName(value, d);
  if (!name) name = d.outUnknown;
  if (name) lua_pushstring(L, name);
  else lua_pushnil(L);
}

void readEnumConv(lua_State* L, int idx, void* out, const void* desc) {
  std::int32_t v;
  if (readEnum(L, idx, &v, *static_cast<const EnumDesc*>(desc))) std::memcpy(out, &v, sizeof v);
}

void pushEnumConv(lua_State* L, const void* in, const void* desc) {
  std::int32_t v;
  std::memcpy(&v, in, sizeof v);
  pushEnum(L, v, *static_cast<const EnumDesc*>(desc));
}

}  // namespace Tessel
