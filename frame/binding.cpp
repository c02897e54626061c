#include "frame/binding.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Tessel {

void assertionFailed(const char* expr, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", file, line, expr);
  std::abort();
}

namespace {

ClassInfo g_classes[kMaxClasses];
int g_classCount = 0;

const char kNamespaceName[] = "Tessel";

// Registry keys (addresses of these objects).
char kNamespaceKey;

const char* keyName(lua_State* L, int idx) {
  const char* s = lua_tostring(L, idx);
  return s ? s : "?";
}

// __index of object metatables and of static tables. Upvalue 1: the member
// table (methods as functions, properties as light userdata entries) or the
// static property table. Stack: object or table, key. A property's getter
// pushes its value above the entry, which is left where it is.
int memberIndex(lua_State* L) {
  lua_settop(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  // Members are functions or property entries: only an entry is a userdata.
  if (const void* entry = lua_touserdata(L, -1)) return static_cast<const detail::PropEntry*>(entry)->get(L);
  return 1;
}

// __newindex: every property is read-only, and any other key is refused with
// unknownFormat. Upvalue 1 as for memberIndex.
template <const char* unknownFormat>
int refuseWrite(lua_State* L) {
  lua_pushvalue(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  if (lua_type(L, -1) == LUA_TLIGHTUSERDATA)
    return luaL_error(L, "'%s' is read-only", keyName(L, 2));
  return luaL_error(L, unknownFormat, keyName(L, 2));
}

const char kNoMember[] = "no member named '%s'";
const char kNoVariable[] = "no writable variable '%s'";
constexpr lua_CFunction objectNewIndex = &refuseWrite<kNoMember>;
constexpr lua_CFunction staticNewIndex = &refuseWrite<kNoVariable>;

int objectGc(lua_State* L) {
  if (lua_type(L, 1) != LUA_TUSERDATA || !isObject(L, 1)) return 0;
  Box* box = static_cast<Box*>(lua_touserdata(L, 1));
  void* obj = box->object;
  box->object = nullptr;
  if (obj && box->cls->release) box->cls->release(obj);
  return 0;
}

// Two Lua values wrapping the same platform object (a singleton handed out
// again) are equal; distinct objects naming the same hardware are not.
int objectEq(lua_State* L) {
  bool same = isObject(L, 1) && isObject(L, 2);
  if (same) {
    const void* a = static_cast<const Box*>(lua_touserdata(L, 1))->object;
    same = a && a == static_cast<const Box*>(lua_touserdata(L, 2))->object;
  }
  lua_pushboolean(L, same);
  return 1;
}

int objectToString(lua_State* L) {
  const Box* box = isObject(L, 1) ? static_cast<const Box*>(lua_touserdata(L, 1)) : nullptr;
  lua_pushfstring(L, "%s: %p", box ? box->cls->name : "object", lua_topointer(L, 1));
  return 1;
}

// Pushes the instance metatable of a class.
void pushClassMetatable(lua_State* L, const ClassInfo& ci) {
  lua_rawgetp(L, LUA_REGISTRYINDEX, &ci);
}

// With the instance metatable at the top: pushes its member table.
void pushMembers(lua_State* L, const ClassInfo& ci) {
  pushClassMetatable(L, ci);
  lua_getfield(L, -1, "__members");
  lua_remove(L, -2);
}

// Pushes the static table of a class (Tessel.<name>).
void pushStatic(lua_State* L, const ClassInfo& ci) {
  pushClassMetatable(L, ci);
  lua_getfield(L, -1, "__static");
  lua_remove(L, -2);
}

}  // namespace

namespace detail {

ClassInfo& allocateClass() {
  TESSEL_ASSERT(g_classCount < kMaxClasses);
  ClassInfo& ci = g_classes[g_classCount];
  ci.id = g_classCount++;
  ci.ancestry = std::uint64_t{1} << ci.id;
  return ci;
}

bool isClassInfo(const void* p) {
  auto* c = static_cast<const ClassInfo*>(p);
  return c >= g_classes && c < g_classes + g_classCount;
}

void typeError(lua_State* L, int idx, const ClassInfo& want) {
  const char* got;
  if (isObject(L, idx)) {
    const Box* box = static_cast<const Box*>(lua_touserdata(L, idx));
    got = box->object ? box->cls->name : "collected object";
  } else {
    got = luaL_typename(L, idx);
  }
  luaL_argerror(L, idx, lua_pushfstring(L, "%s expected, got %s", want.name, got));
  std::abort();  // luaL_argerror does not return
}

void pushObject(lua_State* L, void* exact, const ClassInfo& cls) {
  Box* box = static_cast<Box*>(lua_newuserdata(L, sizeof(Box)));
  box->object = exact;
  box->cls = &cls;
  pushClassMetatable(L, cls);
  lua_setmetatable(L, -2);
}

void openNamespace(lua_State* L) {
  lua_rawgetp(L, LUA_REGISTRYINDEX, &kNamespaceKey);
  if (lua_istable(L, -1)) {
    // Scripts may have replaced the global; put ours back.
    lua_pushvalue(L, -1);
    lua_setglobal(L, kNamespaceName);
    return;
  }
  lua_pop(L, 1);
  lua_newtable(L);             // Tessel
  lua_newtable(L);             // its metatable
  lua_newtable(L);             // __propget: the namespace has no properties
  lua_pushvalue(L, -1);
  lua_setfield(L, -3, "__propget");
  lua_pushcclosure(L, staticNewIndex, 1);
  lua_setfield(L, -2, "__newindex");
  lua_pushboolean(L, 0);
  lua_setfield(L, -2, "__metatable");
  lua_setmetatable(L, -2);
  lua_pushvalue(L, -1);
  lua_rawsetp(L, LUA_REGISTRYINDEX, &kNamespaceKey);
  lua_pushvalue(L, -1);
  lua_setglobal(L, kNamespaceName);
}

void defineClass(lua_State* L, ClassInfo& ci, const char* name, const ClassInfo* base,
                 std::ptrdiff_t baseOffset, void (*release)(void*)) {
  ci.name = name;
  ci.release = release;
  if (base) {
    ci.ancestry = base->ancestry | (std::uint64_t{1} << ci.id);
    for (int i = 0; i < kMaxClasses; ++i)
      if (base->ancestry >> i & 1u) ci.upcast[i] = baseOffset + base->upcast[i];
  }

  int top = lua_gettop(L);
  openNamespace(L);  // top+1

  // Instance metatable with its flattened member table.
  lua_newtable(L);  // mt: top+2
  lua_pushlightuserdata(L, &ci);
  lua_rawseti(L, -2, 1);
  lua_newtable(L);  // members: top+3
  if (base) {
    pushMembers(L, *base);
    lua_pushnil(L);
    while (lua_next(L, -2)) {
      lua_pushvalue(L, -2);
      lua_insert(L, -2);
      lua_rawset(L, top + 3);
    }
    lua_pop(L, 1);
  }
  lua_pushvalue(L, -1);
  lua_setfield(L, top + 2, "__members");
  lua_pushvalue(L, -1);
  lua_pushcclosure(L, &memberIndex, 1);
  lua_setfield(L, top + 2, "__index");
  lua_pushcclosure(L, objectNewIndex, 1);
  lua_setfield(L, top + 2, "__newindex");
  lua_pushcfunction(L, &objectGc);
  lua_setfield(L, -2, "__gc");
  lua_pushcfunction(L, &objectToString);
  lua_setfield(L, -2, "__tostring");
  lua_pushcfunction(L, &objectEq);
  lua_setfield(L, -2, "__eq");
  lua_pushstring(L, name);
  lua_setfield(L, -2, "__name");
  lua_pushboolean(L, 0);
  lua_setfield(L, -2, "__metatable");

  // Static side: Tessel.<name> holds the static functions themselves, so a
  // call is one raw lookup; its hidden metatable serves the static read-only
  // properties and refuses writes of keys it does not hold.
  lua_newtable(L);  // static table: top+3
  lua_newtable(L);  // its metatable: top+4
  lua_newtable(L);  // properties: top+5
  lua_pushvalue(L, top + 5);
  lua_setfield(L, top + 4, "__propget");
  lua_pushvalue(L, top + 5);
  lua_pushcclosure(L, &memberIndex, 1);
  lua_setfield(L, top + 4, "__index");
  lua_pushcclosure(L, staticNewIndex, 1);  // consumes properties
  lua_setfield(L, top + 4, "__newindex");
  lua_pushvalue(L, top + 2);
  lua_setfield(L, top + 4, "__class");
  lua_pushboolean(L, 0);
  lua_setfield(L, top + 4, "__metatable");
  lua_setmetatable(L, top + 3);
  lua_pushvalue(L, top + 3);
  lua_setfield(L, top + 2, "__static");
  lua_pushstring(L, name);
  lua_insert(L, -2);
  lua_rawset(L, top + 1);  // Tessel[name] = static table

  lua_rawsetp(L, LUA_REGISTRYINDEX, &ci);  // registry[&ci] = instance metatable
  lua_settop(L, top);
}

void addMember(lua_State* L, const ClassInfo& ci, const char* name, lua_CFunction fn) {
  pushMembers(L, ci);
  lua_pushcfunction(L, fn);
  lua_setfield(L, -2, name);
  lua_pop(L, 1);
}

void addProperty(lua_State* L, const ClassInfo& ci, const char* name, const PropEntry* prop) {
  pushMembers(L, ci);
  lua_pushlightuserdata(L, const_cast<PropEntry*>(prop));
  lua_setfield(L, -2, name);
  lua_pop(L, 1);
}

void addStatic(lua_State* L, const ClassInfo& ci, const char* name, lua_CFunction fn) {
  pushStatic(L, ci);
  lua_pushstring(L, name);
  lua_pushcfunction(L, fn);
  lua_rawset(L, -3);  // raw: the table's __newindex refuses new keys
  lua_pop(L, 1);
}

void addStaticProperty(lua_State* L, const ClassInfo& ci, const char* name,
                       const PropEntry* prop) {
  pushStatic(L, ci);
  lua_getmetatable(L, -1);
  lua_getfield(L, -1, "__propget");
  lua_remove(L, -2);
  lua_pushlightuserdata(L, const_cast<PropEntry*>(prop));
  lua_setfield(L, -2, name);
  lua_pop(L, 2);
}

}  // namespace detail

bool isObject(lua_State* L, int idx) {
  if (lua_type(L, idx) != LUA_TUSERDATA || !lua_getmetatable(L, idx)) return false;
  lua_rawgeti(L, -1, 1);
  bool ours = lua_type(L, -1) == LUA_TLIGHTUSERDATA && detail::isClassInfo(lua_touserdata(L, -1));
  lua_pop(L, 2);
  return ours;
}

int registrySize(lua_State* L) {
  int n = 0;
  lua_pushnil(L);
  while (lua_next(L, LUA_REGISTRYINDEX)) {
    ++n;
    lua_pop(L, 1);
  }
  return n;
}

}  // namespace Tessel
