// Conversion of platform structures and enumerations to and from Lua values.
//
// A structure is declared once, as a list of fields (key, member, kind), and
// the generic engine derives both directions from it:
//
//   TESSEL_STRUCT(VENC_PARAM_REF_S, F(u32Base), F(u32Enhance), F(bEnablePred));
//
// The kind of each field follows from the member's C type: integers of every
// width, HI_BOOL flags (a boolean or a number in, a boolean out), enumerations
// and nested structures through their own converters (ConvOf<T>). Quirks are
// part of the declaration: FIELD(m, "inKey", "outKey") reads and writes under
// different keys, FIELD_CONV(m, conv) picks another converter for one field,
// FLAG(m) stores a number as 1 or 0 (an HI_BOOL field stores it as it is).
//
// An enumeration is a table of rows plus the rules for what does not match
// (EnumDesc). Hand-written converters fit the same Converter interface.
//
// Lua -> platform: a table is required (else "<TYPE> must be a table for
// structure convension"), the structure is zeroed, and each key is taken only
// when it holds a value of the field's kind. Failures throw MPPConvException.
// Everything runs on the caller's Lua stack, which is left as it was found,
// also when a conversion throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/errors.h"

namespace Tessel {

// A Lua value on the stack, by absolute index.
class LuaRef {
 public:
  LuaRef(lua_State* L, int idx) : L_(L), idx_(lua_absindex(L, idx)) {}
  lua_State* state() const { return L_; }
  int index() const { return idx_; }
  int type() const { return lua_type(L_, idx_); }
  bool isNil() const { return lua_isnoneornil(L_, idx_); }
  bool isTable() const { return lua_type(L_, idx_) == LUA_TTABLE; }
  bool isNumber() const { return lua_type(L_, idx_) == LUA_TNUMBER; }
  bool isString() const { return lua_type(L_, idx_) == LUA_TSTRING; }
  void push() const { lua_pushvalue(L_, idx_); }

 private:
  lua_State* L_;
  int idx_;
};

// How one platform type crosses. read() fills *out from the value at idx
// (throwing MPPConvException); push() pushes exactly one value (nil allowed).
struct Converter {
  void (*read)(lua_State* L, int idx, void* out, const void* aux);
  void (*push)(lua_State* L, const void* in, const void* aux);
  const void* aux;
  bool anyValue = false;  // as a nested field, also given values that are not tables
};

template <class T>
struct ConvOf;  // specialised per type: static const Converter value;

// Bool takes a boolean (1 or 0) or a number as it is; Flag takes a boolean or
// a number as 1 when it is non-zero, else 0. Both come out as booleans.
enum class Kind : std::uint8_t { U8, S8, U16, S16, U32, S32, U64, S64, Bool, Flag, Enum, Nested };

struct Field {
  const char* key;     // read from Lua under this key
  const char* outKey;  // written to Lua under this key
  std::uint32_t offset;
  Kind kind;
  const Converter* conv;  // Enum and Nested
};

struct StructDesc {
  const char* name;
  const char* notTable;  // thrown when the value is not a table
  std::uint32_t size;
  const Field* fields;
  std::uint32_t count;
};

struct EnumRow {
  std::int32_t value;
  const char* name;
  std::uint8_t use;  // kBoth, kInOnly, kOutOnly
};

constexpr std::uint8_t kBoth = 0, kInOnly = 1, kOutOnly = 2;

// What an enumeration converter does with input it cannot name.
enum class Miss : std::uint8_t {
  Value,  // store EnumDesc's value for the case
  Throw,  // throw the case's text
  Leave,  // leave the output as it is (zero inside a structure)
};

struct EnumDesc {
  const EnumRow* rows;
  std::uint32_t count;
  Miss unknownString;
  std::int32_t unknownStringValue;
  const char* unknownStringText;
  Miss otherType;  // neither number nor string (nil included)
  std::int32_t otherTypeValue;
  const char* otherTypeText;
  const char* outUnknown;  // name pushed for a value without a row; null pushes nil
};

// ---------------------------------------------------------------------------
// Engine (convert.cpp).

void readStruct(lua_State* L, int idx, void* out, const StructDesc& d);
void pushStruct(lua_State* L, const void* in, const StructDesc& d);
void readStructConv(lua_State* L, int idx, void* out, const void* desc);
void pushStructConv(lua_State* L, const void* in, const void* desc);

// A structure holding a union whose member a field of the structure selects
// (a payload or region type): its fixed fields are declared as a StructDesc
// (the selector first), and the member is read and written under one key
// with the converter member() picks from the structure (null: no member).
struct UnionStruct {
  StructDesc head;
  const char* key;
  const Converter* (*member)(const void* whole);
  std::uint32_t memberOffset;
};

void readUnionStruct(lua_State* L, int idx, void* out, const UnionStruct& u);
void pushUnionStruct(lua_State* L, const void* in, const UnionStruct& u);

// Reads an enumeration; returns false when the value is left untouched.
bool readEnum(lua_State* L, int idx, std::int32_t* out, const EnumDesc& d);
void pushEnum(lua_State* L, std::int32_t value, const EnumDesc& d);
void readEnumConv(lua_State* L, int idx, void* out, const void* desc);
void pushEnumConv(lua_State* L, const void* in, const void* desc);
// Name of a value, or null.
const char* enumName(std::int32_t value, const EnumDesc& d);

// Integer of a number value with luaL_checkinteger's rule: an integral float
// is accepted, a fraction raises Lua's "number has no integer representation".
lua_Integer toInteger(lua_State* L, int idx);

// Raises a Lua error if the table holds the key under a number with no integer
// representation; otherwise answers whether the key holds a number and, if so,
// its value.
bool getInteger(lua_State* L, int table, const char* key, lua_Integer* out);

[[noreturn]] inline void convFail(const char* text) { throw MPPConvException(text); }

// ---------------------------------------------------------------------------
// Typed entry points.

template <class T>
void read(lua_State* L, int idx, T* out) {
  const Converter& c = ConvOf<T>::value;
  c.read(L, lua_absindex(L, idx), out, c.aux);
}

template <class T>
void push(lua_State* L, const T& in) {
  const Converter& c = ConvOf<T>::value;
  c.push(L, &in, c.aux);
}

// Converts the argument at idx into *out for a method named func. On a
// conversion failure pushes nil and "<text> [@func: line N]" and answers false.
template <class T>
bool readArg(lua_State* L, int idx, T* out, const char* func, int line) {
  try {
    read(L, idx, out);
    return true;
  } catch (MPPConvException& e) {
    pushFailure(L, e.m_msg, func, line);
    return false;
  }
}

// Pushes the table form of v as the single result of func (or nil and the
// conversion failure). Returns the number of results.
template <class T>
int pushResult(lua_State* L, const T& v, const char* func, int line) {
  int top = lua_gettop(L);
  try {
    push(L, v);
    return 1;
  } catch (MPPConvException& e) {
    lua_settop(L, top);
    return pushFailure(L, e.m_msg, func, line);
  }
}

// ---------------------------------------------------------------------------
// Field declarations.

template <class M>
constexpr Kind kindOf() {
  if constexpr (std::is_same_v<M, HI_BOOL>) return Kind::Bool;
  else if constexpr (std::is_enum_v<M>) return Kind::Enum;
  else if constexpr (std::is_class_v<M>) return Kind::Nested;
  else if constexpr (std::is_integral_v<M> && sizeof(M) == 1) return std::is_signed_v<M> ? Kind::S8 : Kind::U8;
  else if constexpr (std::is_integral_v<M> && sizeof(M) == 2) return std::is_signed_v<M> ? Kind::S16 : Kind::U16;
  else if constexpr (std::is_integral_v<M> && sizeof(M) == 4) return std::is_signed_v<M> ? Kind::S32 : Kind::U32;
  else {
    static_assert(std::is_integral_v<M> && sizeof(M) == 8, "no conversion for this member type");
    return std::is_signed_v<M> ? Kind::S64 : Kind::U64;
  }
}

template <class M>
constexpr const Converter* convOf() {
  if constexpr (kindOf<M>() == Kind::Enum || kindOf<M>() == Kind::Nested)
    return &ConvOf<M>::value;
  else
    return nullptr;
}

template <class S, class M>
constexpr Field makeField(const char* key, const char* outKey, std::size_t offset, M S::*,
                          const Converter* conv = convOf<M>()) {
  return Field{key, outKey, static_cast<std::uint32_t>(offset), kindOf<M>(), conv};
}

template <class S, class M>
constexpr Field makeFlag(const char* key, std::size_t offset, M S::*) {
  static_assert(kindOf<M>() == Kind::Bool, "a flag field is an HI_BOOL");
  return Field{key, key, static_cast<std::uint32_t>(offset), Kind::Flag, nullptr};
}

}  // namespace Tessel

// Inside TESSEL_STRUCT: one field, read and written under its member name.
#define F(m) ::Tessel::makeField(#m, #m, offsetof(S_, m), &S_::m)
// A field read under inKey and written under outKey.
#define FIELD(m, inKey, outKey) ::Tessel::makeField(inKey, outKey, offsetof(S_, m), &S_::m)
// A field with a converter other than its type's own.
#define FIELD_CONV(m, conv) ::Tessel::makeField(#m, #m, offsetof(S_, m), &S_::m, &(conv))
// An HI_BOOL field that takes a number as true (1) when non-zero, false (0) otherwise.
#define FLAG(m) ::Tessel::makeFlag(#m, offsetof(S_, m), &S_::m)

// Declares the converters of a structure or enumeration type T:
// ConvOf<T>, lua_2_T(LuaRef&, T*) and T_2_lua(T*, lua_State*) for a structure,
// lua_2_T(LuaRef&, T&) and T_2_lua(T, lua_State*) for an enumeration.
#define TESSEL_DECLARE_STRUCT(T)                       \
  namespace Tessel {                                   \
  template <>                                          \
  struct ConvOf<T> {                                   \
    static const Converter value;                      \
  };                                                   \
  inline void lua_2_##T(LuaRef& ref, T* out) {         \
    read(ref.state(), ref.index(), out);               \
  }                                                    \
  inline LuaRef T##_2_lua(T* in, lua_State* L) {       \
    push(L, *in);                                      \
    return LuaRef(L, -1);                              \
  }                                                    \
  }

#define TESSEL_DECLARE_ENUM(T)                         \
  namespace Tessel {                                   \
  template <>                                          \
  struct ConvOf<T> {                                   \
    static const Converter value;                      \
  };                                                   \
  inline void lua_2_##T(LuaRef& ref, T& out) {         \
    read(ref.state(), ref.index(), &out);              \
  }                                                    \
  inline LuaRef T##_2_lua(T in, lua_State* L) {        \
    push(L, in);                                       \
    return LuaRef(L, -1);                              \
  }                                                    \
  }

// Defines the converters of structure T from its field list (in a .cpp, at
// global scope, after TESSEL_DECLARE_STRUCT(T) is visible).
#define TESSEL_STRUCT(T, ...)                                                         \
  namespace Tessel {                                                                  \
  namespace desc_##T {                                                                \
  using S_ = T;                                                                       \
  static const Field fields[] = {__VA_ARGS__};                                        \
  static const StructDesc desc = {#T, #T " must be a table for structure convension", \
                                  sizeof(T), fields, sizeof fields / sizeof fields[0]}; \
  }                                                                                   \
  const Converter ConvOf<T>::value = {&readStructConv, &pushStructConv, &desc_##T::desc}; \
  }

// Defines the converters of enumeration T from an EnumDesc.
#define TESSEL_ENUM(T, desc) \
  namespace Tessel {         \
  const Converter ConvOf<T>::value = {&readEnumConv, &pushEnumConv, &(desc)}; \
  }

// Defines the converters of structure T from a UnionStruct.
#define TESSEL_UNION_STRUCT(T, unionStruct)                                           \
  namespace Tessel {                                                                  \
  namespace union_##T {                                                               \
  static void r(lua_State* L, int i, void* o, const void*) { readUnionStruct(L, i, o, unionStruct); } \
  static void p(lua_State* L, const void* v, const void*) { pushUnionStruct(L, v, unionStruct); } \
  }                                                                                   \
  const Converter ConvOf<T>::value = {&union_##T::r, &union_##T::p, nullptr};         \
  }

// Defines converters of T from two hand-written functions
// void read(lua_State*, int idx, T* out) and void push(lua_State*, const T&).
#define TESSEL_CUSTOM(T, readFn, pushFn) TESSEL_CUSTOM_EX(T, readFn, pushFn, false)
#define TESSEL_CUSTOM_EX(T, readFn, pushFn, anyValue)                                            \
  namespace Tessel {                                                                  \
  namespace custom_##T {                                                              \
  static void r(lua_State* L, int i, void* o, const void*) { readFn(L, i, static_cast<T*>(o)); } \
  static void p(lua_State* L, const void* v, const void*) { pushFn(L, *static_cast<const T*>(v)); } \
  }                                                                                   \
  const Converter ConvOf<T>::value = {&custom_##T::r, &custom_##T::p, nullptr, anyValue}; \
  }
