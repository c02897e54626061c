// The call journal, findings, pending faults and the per-call bookkeeping of
// the stubs.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>

#include "sim/sim.h"

namespace sim {
namespace {

struct Fault {
    HI_S32 code;
    int remaining;
};

// A script may run for hours: the journal keeps the most recent entries only.
// The default holds a long test's worth of calls in a few megabytes.
constexpr size_t kDefaultLimit = 1024;
constexpr size_t kFindingLimit = 1024;

struct Journal {
    std::deque<Entry> entries;
    size_t limit = kDefaultLimit;
    size_t dropped = 0;
    bool recording = true;
    const char* current = nullptr;  // name of the call in progress
    std::string reason;             // why the call in progress is refused
    size_t refusals_total = 0;
    std::string last_refusal;
    std::deque<Finding> findings;
    size_t findings_total = 0;
};

Journal& journal() {
    static Journal j;
    return j;
}

void keep(Entry&& entry) {
    Journal& j = journal();
    if (!j.recording || j.limit == 0) {
        ++j.dropped;
        return;
    }
    while (j.entries.size() >= j.limit) {
        j.entries.pop_front();
        ++j.dropped;
    }
    j.entries.push_back(std::move(entry));
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

void enter() { lock().lock(); }
void leave() { lock().unlock(); }

size_t journal_size() { return journal().entries.size(); }
const Entry& journal_entry(size_t i) { return journal().entries[i]; }
size_t journal_dropped() { return journal().dropped; }
size_t journal_limit() { return journal().limit; }
bool journal_recording() { return journal().recording; }

void journal_set_limit(size_t limit) {
    std::lock_guard<std::recursive_mutex> g(lock());
    Journal& j = journal();
    j.limit = limit;
    while (j.entries.size() > limit) {
        j.entries.pop_front();
        ++j.dropped;
    }
}

void journal_set_recording(bool on) {
    std::lock_guard<std::recursive_mutex> g(lock());
    journal().recording = on;
}

void journal_clear() {
    std::lock_guard<std::recursive_mutex> g(lock());
    journal().entries.clear();
    journal().dropped = 0;
}

namespace {

// Counts a refused entry (one with a reason) as a refusal.
void count_refusal(const Entry& entry) {
    if (entry.reason.empty()) return;
    Journal& j = journal();
    ++j.refusals_total;
    j.last_refusal = entry.name + ": " + entry.reason;
}

}  // namespace

void journal_add(Entry entry) {
    std::lock_guard<std::recursive_mutex> g(lock());
    count_refusal(entry);
    keep(std::move(entry));
}

void finding(const char* rule, const std::string& message) {
    std::lock_guard<std::recursive_mutex> g(lock());
    Journal& j = journal();
    // The call in progress is the next entry of the journal.
    j.findings.push_back(Finding{rule, j.current ? j.current : "", message,
                                 j.dropped + j.entries.size() + 1});
    if (j.findings.size() > kFindingLimit) j.findings.pop_front();
    ++j.findings_total;
}

size_t findings_count() { return journal().findings_total; }

HI_S32 refuse(HI_S32 code, const char* fmt, ...) {
    std::lock_guard<std::recursive_mutex> g(lock());
    Journal& j = journal();
    if (!j.current || !j.reason.empty()) return code;
    char buf[512];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    j.reason = buf;
    return code;
}

size_t refusals_count() { return journal().refusals_total; }

std::string last_refusal() {
    std::lock_guard<std::recursive_mutex> g(lock());
    return journal().last_refusal;
}

HI_S32 refuse_destroy(const std::string& object, HI_S32 code, const std::string& why) {
    finding("destroy-refused", object + " was not destroyed (" + why +
                                   "): a caller that lets go of it now leaves it to nobody");
    return refuse(code, "%s %s", object.c_str(), why.c_str());
}

size_t findings_kept() { return journal().findings.size(); }
const Finding& finding_kept(size_t i) { return journal().findings[i]; }

void findings_clear() {
    std::lock_guard<std::recursive_mutex> g(lock());
    journal().findings.clear();
}

const char* const kInjectedReason = "failure requested with sim.fail";

bool known_function(const char* name) {
    if (std::strcmp(name, "ioctl") == 0 || std::strcmp(name, "open") == 0) return true;
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
    journal().current = name;
    journal().reason.clear();
    entry_.name = name;
    entry_.args.resize(nargs);
    faulted_ = take_fault(name, &code_);
}

// A call is refused when its handler gave a reason, or when it answers an
// error code (a status with the platform's 0xA0 mark); a handle-returning call
// that fails says so through refuse().
Call::~Call() {
    Journal& j = journal();
    std::string reason = std::move(j.reason);
    j.reason.clear();
    const bool code = entry_.ret.kind == Value::Int && entry_.ret.i < 0 &&
                      ((unsigned)entry_.ret.i >> 24) == 0xA0u;
    if (faulted_) {
        reason = kInjectedReason;
        entry_.injected = true;
    } else if (reason.empty() && code) {
        reason = code_reason((HI_S32)(unsigned)entry_.ret.i);
    }
    entry_.reason = std::move(reason);
    count_refusal(entry_);
    keep(std::move(entry_));
    j.current = nullptr;
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
