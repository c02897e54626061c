// The call journal, pending faults and the per-call bookkeeping of the stubs.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "sim/sim.h"

namespace sim {
namespace {

struct Fault {
    HI_S32 code;
    int remaining;
};

std::vector<Entry>& journal() {
    static std::vector<Entry> j;
    return j;
}

std::map<std::string, Fault>& faults() {
    static std::map<std::string, Fault> f;
    return f;
}

std::recursive_mutex& lock() {
    static std::recursive_mutex m;
    return m;
}

}  // namespace

size_t journal_size() { return journal().size(); }
const Entry& journal_entry(size_t i) { return journal()[i]; }

void journal_clear() {
    std::lock_guard<std::recursive_mutex> g(lock());
    journal().clear();
}

void journal_add(Entry entry) {
    std::lock_guard<std::recursive_mutex> g(lock());
    journal().push_back(std::move(entry));
}

bool known_function(const char* name) {
    if (std::strcmp(name, "ioctl") == 0) return true;
    const char* const* end = function_names + function_count;
    const char* const* it = std::lower_bound(function_names, end, name,
        [](const char* a, const char* b) { return std::strcmp(a, b) < 0; });
    return it != end && std::strcmp(*it, name) == 0;
}

void fail(const char* name, HI_S32 code, int times) {
    std::lock_guard<std::recursive_mutex> g(lock());
    faults()[name] = Fault{code, times};
}

bool take_fault(const char* name, HI_S32* code) {
    std::lock_guard<std::recursive_mutex> g(lock());
    auto it = faults().find(name);
    if (it == faults().end()) return false;
    *code = it->second.code;
    if (--it->second.remaining <= 0) faults().erase(it);
    return true;
}

void clear_faults() {
    std::lock_guard<std::recursive_mutex> g(lock());
    faults().clear();
}

Call::Call(const char* name, int nargs) {
    lock().lock();
    entry_.name = name;
    entry_.args.resize(nargs);
    faulted_ = take_fault(name, &code_);
}

Call::~Call() {
    journal().push_back(std::move(entry_));
    lock().unlock();
}

void Call::str(int i, const char* s) {
    if (s) entry_.args[i] = Value::string(s);
}

void Call::in(int i, const void* p, const Type& t) {
    if (p) entry_.args[i] = decode(t, p);
}

void Call::out(int i, const void* p, const Type& t, bool wrote) {
    if (p && wrote) entry_.args[i] = decode(t, p);
}

void Call::out_ptr(int i, void* const* p, bool wrote) {
    if (p && wrote) entry_.args[i] = Value::pointer(*p);
}

// Strings the platform writes back are names in caller buffers of
// MAX_MMZ_NAME_LEN bytes, not always terminated: read no further.
void Call::out_str(int i, const char* p, bool wrote) {
    if (p && wrote) entry_.args[i] = Value::string(std::string(p, strnlen(p, MAX_MMZ_NAME_LEN)));
}

}  // namespace sim
