// Journal values and the tables that describe platform structures.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// One journaled value: what a Lua script sees in sim.calls().
struct Value {
    enum Kind { Nil, Int, Real, Str, Ptr, Table, Seq } kind = Nil;
    long long i = 0;
    double r = 0;
    std::string s;
    const void* p = nullptr;
    std::vector<std::pair<std::string, Value>> fields;  // Table: C field names
    std::vector<Value> items;                            // Seq: elements from 1

    static Value integer(long long v) { Value x; x.kind = Int; x.i = v; return x; }
    static Value string(std::string v) { Value x; x.kind = Str; x.s = std::move(v); return x; }
    static Value pointer(const void* v) { Value x; x.kind = v ? Ptr : Nil; x.p = v; return x; }
    const Value* field(const char* name) const;  // Table lookup, null if absent
};

enum class FieldKind : unsigned char { Int, UInt, Real, Str, Ptr, Struct };

struct Type;

// One member of a structure in the host build. Arrays have n0 (and n1 for
// two dimensions) elements of `size` bytes; group is the anonymous union the
// member belongs to (0: none).
struct Field {
    const char* name;
    FieldKind kind;
    size_t offset;
    size_t size;
    unsigned count;
    unsigned n0, n1;
    const Type* type;
    int group;
};

struct Type {
    const char* name;
    size_t size;
    bool is_union;
    const Field* fields;
    unsigned nfields;
};

// A structure as a table keyed by field names. A union is decoded as the
// member that its owner's type field selects (see core/unions.cpp); a union
// without a known selection is left out.
Value decode(const Type& type, const void* data);

}  // namespace sim
