// Structures to journal values, driven by the generated type tables.
#include <cstring>

#include "core/internal.h"

namespace sim {

const Value* Value::field(const char* name) const {
    for (const auto& f : fields)
        if (f.first == name) return &f.second;
    return nullptr;
}

const Field* find_field(const Type& type, const char* name) {
    for (unsigned i = 0; i < type.nfields; ++i)
        if (std::strcmp(type.fields[i].name, name) == 0) return &type.fields[i];
    return nullptr;
}

long long read_integer(const Field& f, const void* at) {
    const bool sign = f.kind == FieldKind::Int;
    switch (f.size) {
    case 1: return sign ? (long long)*(const signed char*)at : (long long)*(const unsigned char*)at;
    case 2: return sign ? (long long)*(const short*)at : (long long)*(const unsigned short*)at;
    case 4: return sign ? (long long)*(const int*)at : (long long)*(const unsigned int*)at;
    default: return *(const long long*)at;
    }
}

namespace {

Value element(const Field& f, const char* at) {
    switch (f.kind) {
    case FieldKind::Int:
    case FieldKind::UInt: return Value::integer(read_integer(f, at));
    case FieldKind::Real: {
        Value v;
        v.kind = Value::Real;
        v.r = f.size == sizeof(float) ? *(const float*)at : *(const double*)at;
        return v;
    }
    case FieldKind::Ptr: return Value::pointer(*(const void* const*)at);
    case FieldKind::Struct: return decode(*f.type, at);
    case FieldKind::Str: break;
    }
    return Value();
}

// A member: scalar, string, or (nested) sequence of elements.
Value member(const Field& f, const char* at) {
    if (f.kind == FieldKind::Str) {
        size_t len = f.n1 ? f.n1 : f.n0;
        return Value::string(std::string(at, strnlen(at, len)));
    }
    if (f.count == 1) return element(f, at);
    Value seq;
    seq.kind = Value::Seq;
    for (unsigned i = 0; i < f.n0; ++i) {
        if (f.n1) {
            Value row;
            row.kind = Value::Seq;
            for (unsigned j = 0; j < f.n1; ++j)
                row.items.push_back(element(f, at + (i * f.n1 + j) * f.size));
            seq.items.push_back(std::move(row));
        } else {
            seq.items.push_back(element(f, at + i * f.size));
        }
    }
    return seq;
}

}  // namespace

Value decode(const Type& type, const void* data) {
    const char* base = static_cast<const char*>(data);
    const char* chosen = union_choice(type, data);
    Value t;
    t.kind = Value::Table;
    for (unsigned i = 0; i < type.nfields; ++i) {
        const Field& f = type.fields[i];
        if (f.group && !(chosen && std::strcmp(chosen, f.name) == 0)) continue;
        if (f.kind == FieldKind::Struct && f.type->is_union) {
            // a union member of its own: { <selected member> = ... }
            const Field* m = chosen ? find_field(*f.type, chosen) : nullptr;
            if (!m) continue;
            Value u;
            u.kind = Value::Table;
            u.fields.emplace_back(m->name, member(*m, base + f.offset + m->offset));
            t.fields.emplace_back(f.name, std::move(u));
            continue;
        }
        t.fields.emplace_back(f.name, member(f, base + f.offset));
    }
    return t;
}

}  // namespace sim
