// The binding layer: how C++ classes and functions become the Tessel namespace.
//
// Layout in a Lua state:
//   Tessel                      namespace table; hidden metatable refuses writes
//   Tessel.<Class>              visible (empty) static table; its hidden metatable
//                               sends reads to a table of static functions, whose
//                               own metatable serves the static read-only properties
//   instance metatable          per class, in the registry under the class's
//                               ClassInfo; __index/__newindex are closures over the
//                               class's flattened member table (methods as C
//                               functions, properties as light userdata entries), so
//                               a method lookup is one raw table access
//   object                      full userdata holding a Box {object, class}; the
//                               Box owns one reference, dropped by __gc
//
// Member functions are bound at compile time: the function pointer is a
// template argument, so every Lua entry point is a plain lua_CFunction with no
// upvalues. Typed bindings convert arguments with luaL_check*; raw bindings take
// the lua_State and do their own reading and pushing.
//
// Lua errors unwind with longjmp: no function here keeps an object with a
// non-trivial destructor alive across a call that can raise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

#include <lua.hpp>

#include "frame/ref_counted.h"

namespace Tessel {

constexpr int kMaxClasses = 64;

struct ClassInfo {
  const char* name = nullptr;
  int id = -1;
  std::uint64_t ancestry = 0;            // bit i: class i is this class or a base
  std::ptrdiff_t upcast[kMaxClasses] = {};  // exact-class pointer -> base i pointer
  void (*release)(void* exact) = nullptr;   // drops one reference of an instance
};

// The userdata behind every object seen by Lua.
struct Box {
  void* object;           // pointer to the exact registered class, or null once collected
  const ClassInfo* cls;
};

namespace detail {

ClassInfo& allocateClass();
bool isClassInfo(const void* p);
[[noreturn]] void typeError(lua_State* L, int idx, const ClassInfo& want);
void pushObject(lua_State* L, void* exact, const ClassInfo& cls);

template <class T>
struct ClassTag {
  static ClassInfo& info() {
    static ClassInfo& ci = allocateClass();
    return ci;
  }
};

template <class T>
void releaseThunk(void* p) {
  static_cast<T*>(p)->decReferenceCount();
}

}  // namespace detail

template <class T>
inline ClassInfo& classInfo() {
  return detail::ClassTag<std::remove_cv_t<T>>::info();
}

// Returns the object at idx as a T* (T the class or a registered base), or
// raises "<T> expected, got <type>" as a bad argument.
template <class T>
T* checkObject(lua_State* L, int idx) {
  const ClassInfo& want = classInfo<T>();
  if (lua_type(L, idx) == LUA_TUSERDATA && lua_getmetatable(L, idx)) {
    lua_rawgeti(L, -1, 1);
    const void* tag = lua_touserdata(L, -1);
    lua_pop(L, 2);
    if (detail::isClassInfo(tag)) {
      const Box* box = static_cast<const Box*>(lua_touserdata(L, idx));
      const ClassInfo* cls = static_cast<const ClassInfo*>(tag);
      if (box->object && (cls->ancestry >> want.id & 1u))
        return reinterpret_cast<T*>(static_cast<char*>(box->object) + cls->upcast[want.id]);
    }
  }
  detail::typeError(L, idx, want);
}

// Like checkObject but answers null instead of raising.
template <class T>
T* toObject(lua_State* L, int idx) {
  const ClassInfo& want = classInfo<T>();
  if (lua_type(L, idx) != LUA_TUSERDATA || !lua_getmetatable(L, idx)) return nullptr;
  lua_rawgeti(L, -1, 1);
  const void* tag = lua_touserdata(L, -1);
  lua_pop(L, 2);
  if (!detail::isClassInfo(tag)) return nullptr;
  const Box* box = static_cast<const Box*>(lua_touserdata(L, idx));
  const ClassInfo* cls = static_cast<const ClassInfo*>(tag);
  if (!box->object || !(cls->ancestry >> want.id & 1u)) return nullptr;
  return reinterpret_cast<T*>(static_cast<char*>(box->object) + cls->upcast[want.id]);
}

// True when the value at idx is a userdata made by this module (any class).
bool isObject(lua_State* L, int idx);

// Pushes a new Lua reference to obj (nil for null); Lua then owns one count.
template <class T>
void push(lua_State* L, T* obj) {
  if (!obj) {
    lua_pushnil(L);
    return;
  }
  obj->incReferenceCount();
  detail::pushObject(L, obj, classInfo<T>());
}

template <class T>
void push(lua_State* L, RefCountedObjectPtr<T> ptr) {
  // Lua takes over the counted reference before anything can raise.
  T* raw = ptr.detach();
  if (!raw) {
    lua_pushnil(L);
    return;
  }
  detail::pushObject(L, raw, classInfo<T>());
}

// ---------------------------------------------------------------------------
// Argument and result conversion of typed bindings.

namespace detail {

template <class A, class = void>
struct Arg;

template <>
struct Arg<lua_State*> {
  static constexpr int slots = 0;
  static lua_State* get(lua_State* L, int) { return L; }
};
template <>
struct Arg<bool> {
  static constexpr int slots = 1;
  static bool get(lua_State* L, int i) { return lua_toboolean(L, i) != 0; }
};
template <>
struct Arg<const char*> {
  static constexpr int slots = 1;
  static const char* get(lua_State* L, int i) { return luaL_checklstring(L, i, nullptr); }
};
// An integer the parameter cannot hold is clamped to the parameter's range,
// so a number far out of range stays out of range instead of wrapping into a
// valid one (2^32 is not channel 0).
template <class A>
struct Arg<A, std::enable_if_t<std::is_integral_v<A> && !std::is_same_v<A, bool>>> {
  static constexpr int slots = 1;
  static A get(lua_State* L, int i) {
    lua_Integer v = luaL_checkinteger(L, i);
    if constexpr (sizeof(A) < sizeof(lua_Integer)) {
      constexpr lua_Integer lo = static_cast<lua_Integer>(std::numeric_limits<A>::min());
      constexpr lua_Integer hi = static_cast<lua_Integer>(std::numeric_limits<A>::max());
      if (v < lo) return std::numeric_limits<A>::min();
      if (v > hi) return std::numeric_limits<A>::max();
    }
    return static_cast<A>(v);
  }
};
template <class A>
struct Arg<A, std::enable_if_t<std::is_enum_v<A>>> {
  static constexpr int slots = 1;
  static A get(lua_State* L, int i) { return static_cast<A>(luaL_checkinteger(L, i)); }
};
template <class A>
struct Arg<A*, std::enable_if_t<std::is_class_v<A>>> {
  static constexpr int slots = 1;
  static A* get(lua_State* L, int i) { return checkObject<A>(L, i); }
};

template <class R, class = void>
struct Result;

template <>
struct Result<bool> {
  static void push(lua_State* L, bool v) { lua_pushboolean(L, v); }
};
template <>
struct Result<const char*> {
  static void push(lua_State* L, const char* v) {
    if (v) lua_pushstring(L, v);
    else lua_pushnil(L);
  }
};
template <class R>
struct Result<R, std::enable_if_t<std::is_integral_v<R> && !std::is_same_v<R, bool>>> {
  static void push(lua_State* L, R v) { lua_pushinteger(L, static_cast<lua_Integer>(v)); }
};
template <class R>
struct Result<R, std::enable_if_t<std::is_enum_v<R>>> {
  static void push(lua_State* L, R v) { lua_pushinteger(L, static_cast<lua_Integer>(v)); }
};
template <class T>
struct Result<RefCountedObjectPtr<T>> {
  static void push(lua_State* L, RefCountedObjectPtr<T>&& v) { Tessel::push(L, std::move(v)); }
};

// Stack position of each parameter: lua_State* takes none.
template <int Start, class... A>
struct Positions {
  static constexpr std::size_t n = sizeof...(A);
  static constexpr int slots[n + 1] = {Arg<std::decay_t<A>>::slots..., 0};
  static constexpr int at(std::size_t k) {
    int pos = Start;
    for (std::size_t i = 0; i < k; ++i) pos += slots[i];
    return pos;
  }
};

template <int Start, class R, class... A, class Call, std::size_t... I>
int invoke(lua_State* L, Call&& call, std::index_sequence<I...>) {
  using P = Positions<Start, A...>;
  // Braced initialisation converts the arguments left to right, so the first
  // bad argument is the one reported. All argument types are trivial.
  std::tuple<std::decay_t<A>...> args{Arg<std::decay_t<A>>::get(L, P::at(I))...};
  if constexpr (std::is_void_v<R>) {
    call(std::get<I>(args)...);
    return 0;
  } else {
    Result<std::decay_t<R>>::push(L, call(std::get<I>(args)...));
    return 1;
  }
}

template <auto Fn>
struct Bound;

// Free or static functions: arguments from position 1.
template <class R, class... A, R (*Fn)(A...)>
struct Bound<Fn> {
  static int typed(lua_State* L) {
    return invoke<1, R, A...>(L, [](auto&&... a) -> R { return Fn(a...); },
                              std::index_sequence_for<A...>{});
  }
};

// Member functions: the object at 1, arguments from position 2.
template <class C, class R, class... A, R (C::*Fn)(A...)>
struct Bound<Fn> {
  using Class = C;
  static int typed(lua_State* L) {
    C* self = checkObject<C>(L, 1);
    return invoke<2, R, A...>(L, [self](auto&&... a) -> R { return (self->*Fn)(a...); },
                              std::index_sequence_for<A...>{});
  }
  static int raw(lua_State* L) { return (checkObject<C>(L, 1)->*Fn)(L); }
};

template <class C, class R, class... A, R (C::*Fn)(A...) const>
struct Bound<Fn> {
  using Class = C;
  static int typed(lua_State* L) {
    const C* self = checkObject<C>(L, 1);
    return invoke<2, R, A...>(L, [self](auto&&... a) -> R { return (self->*Fn)(a...); },
                              std::index_sequence_for<A...>{});
  }
  static int raw(lua_State* L) { return (checkObject<C>(L, 1)->*Fn)(L); }
};

// A property entry: the getter runs with the object (or, for a static
// property, the table) at index 1 and pushes one value.
struct PropEntry {
  lua_CFunction get;
};

template <auto Getter>
inline constexpr PropEntry kProp{&Bound<Getter>::typed};
template <auto Getter>
inline constexpr PropEntry kRawProp{&Bound<Getter>::raw};

// Registration primitives (binding.cpp).
void openNamespace(lua_State* L);                     // pushes Tessel
void defineClass(lua_State* L, ClassInfo& ci, const char* name, const ClassInfo* base,
                 std::ptrdiff_t baseOffset, void (*release)(void*));
void addMember(lua_State* L, const ClassInfo& ci, const char* name, lua_CFunction fn);
void addProperty(lua_State* L, const ClassInfo& ci, const char* name, const PropEntry* prop);
void addStatic(lua_State* L, const ClassInfo& ci, const char* name, lua_CFunction fn);
void addStaticProperty(lua_State* L, const ClassInfo& ci, const char* name,
                       const PropEntry* prop);

template <class Derived, class Base>
std::ptrdiff_t baseOffset() {
  // Any well-aligned non-null address will do; nothing is dereferenced.
  alignas(Derived) static char probe[sizeof(Derived)];
  Derived* d = reinterpret_cast<Derived*>(probe);
  return reinterpret_cast<char*>(static_cast<Base*>(d)) - reinterpret_cast<char*>(d);
}

template <class T, class = void>
struct HasRefCount : std::false_type {};
template <class T>
struct HasRefCount<T, std::void_t<decltype(std::declval<T&>().decReferenceCount())>>
    : std::true_type {};

}  // namespace detail

// Builder for one class. It holds only the state pointer and the class info,
// keeps nothing on the Lua stack between calls, and needs no closing call.
template <class T>
class ClassBuilder {
 public:
  ClassBuilder(lua_State* L) : L_(L), ci_(classInfo<T>()) {}

  // Member function with typed arguments and a pushed result.
  template <auto Fn>
  ClassBuilder& addFunction(const char* name) {
    detail::addMember(L_, ci_, name, &detail::Bound<Fn>::typed);
    return *this;
  }
  // Member function int (T::*)(lua_State*) that pushes its own results.
  template <auto Fn>
  ClassBuilder& addCFunction(const char* name) {
    detail::addMember(L_, ci_, name, &detail::Bound<Fn>::raw);
    return *this;
  }
  // Read-only property served by a const getter.
  template <auto Getter>
  ClassBuilder& addProperty(const char* name) {
    detail::addProperty(L_, ci_, name, &detail::kProp<Getter>);
    return *this;
  }
  // Read-only property served by int (T::*)(lua_State*) const, which pushes
  // the one value itself (a table, say).
  template <auto Getter>
  ClassBuilder& addCProperty(const char* name) {
    detail::addProperty(L_, ci_, name, &detail::kRawProp<Getter>);
    return *this;
  }
  template <auto Fn>
  ClassBuilder& addStaticFunction(const char* name) {
    detail::addStatic(L_, ci_, name, &detail::Bound<Fn>::typed);
    return *this;
  }
  ClassBuilder& addStaticCFunction(const char* name, lua_CFunction fn) {
    detail::addStatic(L_, ci_, name, fn);
    return *this;
  }
  template <auto Getter>
  ClassBuilder& addStaticProperty(const char* name) {
    detail::addStaticProperty(L_, ci_, name, &detail::kProp<Getter>);
    return *this;
  }

 private:
  lua_State* L_;
  const ClassInfo& ci_;
};

// Registers class T under Tessel (as a class derived from Base when given).
template <class T, class Base = void>
ClassBuilder<T> beginClass(lua_State* L, const char* name) {
  ClassInfo& ci = classInfo<T>();
  const ClassInfo* base = nullptr;
  std::ptrdiff_t offset = 0;
  if constexpr (!std::is_void_v<Base>) {
    base = &classInfo<Base>();
    offset = detail::baseOffset<T, Base>();
  }
  void (*release)(void*) = nullptr;
  if constexpr (detail::HasRefCount<T>::value) release = &detail::releaseThunk<T>;
  detail::defineClass(L, ci, name, base, offset, release);
  return ClassBuilder<T>(L);
}

// Returns the number of registry entries; used by tests and the fuzzer to
// show that failing calls leave nothing behind.
int registrySize(lua_State* L);

}  // namespace Tessel
