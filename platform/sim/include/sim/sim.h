// The host simulator of the vendor platform: the API module behaviour files
// (platform/sim/<module>.cpp) use. See platform/sim/README.md.
#pragma once

#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim/decode.h"
#include "sim/handlers.h"

namespace sim {

// ---- error codes ----------------------------------------------------------
enum Reason {
    INVALID_DEVID = 1, INVALID_CHNID = 2, ILLEGAL_PARAM = 3, EXIST = 4, UNEXIST = 5,
    NULL_PTR = 6, NOT_CONFIG = 7, NOT_SUPPORT = 8, NOT_PERM = 9, NOMEM = 12,
    NOBUF = 13, BUF_EMPTY = 14, BUF_FULL = 15, SYS_NOTREADY = 16, BUSY = 18,
};

// The platform's code: 0xA0000000 | module << 16 | level 4 << 13 | reason.
constexpr HI_S32 err(unsigned module, unsigned reason) {
    return (HI_S32)(0xA0000000u | module << 16 | 4u << 13 | reason);
}

// ---- journal ----------------------------------------------------------------
struct Entry {
    std::string name;
    std::vector<Value> args;  // n = args.size(); a Nil is a null pointer
    Value ret;
    std::string reason;       // why the call was refused; empty when it was not
    bool injected = false;    // the failure was requested with sim.fail
};

// The journal keeps the most recent calls: at most journal_limit() entries
// (older ones are dropped and counted), none while recording is off.
size_t journal_size();                 // entries kept
const Entry& journal_entry(size_t i);  // i-th kept entry, oldest first
size_t journal_dropped();              // entries dropped since the last clear
size_t journal_limit();
void journal_set_limit(size_t limit);
bool journal_recording();
void journal_set_recording(bool on);
void journal_clear();
// Journals a call made outside a Call (the codec's requests); an entry with
// a reason counts as refused.
void journal_add(Entry entry);

// ---- findings -----------------------------------------------------------------
// What a board would punish later although the call itself goes through
// (objects left alive at exit, bindings left in place, ...). A finding never
// changes a call's result; it names its rule, the call it arose in and that
// call's position (1-based, counting dropped entries) since the journal was
// last cleared.
struct Finding {
    std::string rule, call, message;
    size_t index;
};
void finding(const char* rule, const std::string& message);
size_t findings_count();               // findings since the last reset (monotonic)
size_t findings_kept();                // the most recent ones are kept
const Finding& finding_kept(size_t i); // i-th kept finding, oldest first
void findings_clear();

// ---- refusals -----------------------------------------------------------------
// A refused call says why: a sentence that names the value and the rule
// ("H.265 profile 1: this encoder takes profile 0 only"). The first reason
// given during a call stands (the most specific one, given deepest). refuse
// returns code, for `return refuse(fault(ILLEGAL_PARAM), "...", ...);`. A call
// that answers an error code without a reason gets the code's own words.
HI_S32 refuse(HI_S32 code, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
size_t refusals_count();       // refused calls since the last reset (monotonic)
std::string last_refusal();    // "HI_MPI_X: reason" of the latest one

// Codes the vendor headers define: every code the simulator answers is one.
bool defined_code(HI_S32 code);
const char* code_name(HI_S32 code);   // "HI_ERR_VENC_UNEXIST", or null
const char* code_words(HI_S32 code);  // "does not exist", or null
// What the journal says of a refusal whose handler gave no reason: the
// code's name and words ("HI_ERR_VENC_UNEXIST: does not exist").
std::string code_reason(HI_S32 code);
// The module's own code for reason when its headers define one, else the
// first of fallbacks the module defines, else its illegal-parameter code.
HI_S32 code_of(int mod, int reason, std::initializer_list<int> fallbacks = {});
// What a call the simulator does not model answers: the module's "not
// supported", or the nearest code the module has.
HI_S32 unsupported(int mod, const char* call);

// The simulator's lock, for entry points that are no platform call (the
// descriptor wait of the device shim); platform calls take it themselves.
void enter();
void leave();

// ---- faults -----------------------------------------------------------------
bool known_function(const char* name);  // an exported HI_MPI_* name, "open" or "ioctl" (the codec)
void fail(const char* name, HI_S32 code, int times);
bool take_fault(const char* name, HI_S32* code);  // consumes one pending fault
extern const char* const kInjectedReason;          // the reason of a faulted call

// One call of an exported function, journaled when it returns. Holds the
// simulator's lock for its lifetime, so handlers run one at a time.
class Call {
public:
    Call(const char* name, int nargs);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool faulted() const { return faulted_; }
    HI_S32 code() const { return code_; }

    void num(int i, long long v) { entry_.args[i] = Value::integer(v); }
    void ptr(int i, const void* p) { entry_.args[i] = Value::pointer(p); }
    void str(int i, const char* s);
    void in(int i, const void* p, const Type& t);
    void out(int i, const void* p, const Type& t, bool wrote);
    void out_ptr(int i, void* const* p, bool wrote);
    void out_str(int i, const char* p, bool wrote);
    template <class T> void at(int i, const T* p, bool wrote) {
        if (p && wrote) num(i, (long long)*p);
    }
    void ret(long long r) { entry_.ret = Value::integer(r); }
    void ret_ptr(const void* r) { entry_.ret = Value::pointer(r); }
    void ret_none() {}

private:
    Entry entry_;
    bool faulted_ = false;
    HI_S32 code_ = 0;
};

// ---- state store ------------------------------------------------------------
// Platform objects keyed by (module, device, channel). An object exists from
// obtain() until destroy(); what a module file means by its flags and
// attributes is its own. Keys with a negative device or channel hold module
// settings (pool configuration, ...) and are not drawn by dot().
struct Key {
    int mod, dev, chn;
    bool operator<(const Key& o) const {
        return mod != o.mod ? mod < o.mod : dev != o.dev ? dev < o.dev : chn < o.chn;
    }
    bool operator==(const Key& o) const { return mod == o.mod && dev == o.dev && chn == o.chn; }
};

// A running flag that remembers having been set, so that a picture of the
// pipeline can tell a stopped object from one that never ran.
class RunFlag {
public:
    RunFlag& operator=(bool on) {
        on_ = on;
        ever_ |= on;
        return *this;
    }
    operator bool() const { return on_; }
    bool ever() const { return ever_; }

private:
    bool on_ = false, ever_ = false;
};

struct Object {
    bool created = false;
    RunFlag enabled, started;
    // A container inside another (a display layer on its device), for the picture.
    bool hasParent = false;
    Key parent{0, -1, -1};
    // Channels this object is drawn into (a region on its channels): dotted
    // edges in the picture.
    std::set<Key> attached;
    std::map<std::string, std::vector<unsigned char>> attrs;  // "a Get returns what a Set stored"
    std::map<std::string, long long> values;

    template <class T> void put(const std::string& name, const T& v) {
        const unsigned char* b = reinterpret_cast<const unsigned char*>(&v);
        attrs[name].assign(b, b + sizeof v);
    }
    template <class T> bool get(const std::string& name, T* out) const {
        auto it = attrs.find(name);
        if (it == attrs.end() || it->second.size() != sizeof *out) return false;
        std::copy(it->second.begin(), it->second.end(), reinterpret_cast<unsigned char*>(out));
        return true;
    }
    bool has(const std::string& name) const { return attrs.count(name) != 0; }
};

Object* find(Key k);          // null when the object does not exist
Object& obtain(Key k);        // the object, made (all flags clear) on first use
void destroy(Key k);          // removes the object and every binding touching it
std::vector<Key> objects(int mod);  // existing objects of one module, in key order

std::vector<Key> objects();         // every existing object, in key order
// "VENC 0/1" for a channel, "VPSS 3" for a group or device (channel < 0).
std::string label(Key k);

// Display devices are kept under a module number of their own, so that
// their numbers do not meet the display layers' (both start at 0).
constexpr int kVoDevices = 0x100 | HI_ID_VOU;
// The display's write-back unit; display channels are only ever binding
// destinations, so a display address bound as a source is the write-back.
constexpr Key kVoWriteback{HI_ID_VOU, -1, 0};

// Bindings: a source feeds many destinations; a destination has one source.
bool bind(Key src, Key dst);       // false when dst already has a source
bool unbind(Key src, Key dst);     // false when not bound that way
bool source_of(Key dst, Key* src);
std::vector<Key> destinations(Key src);
std::vector<std::pair<Key, Key>> bindings();  // (source, destination) pairs

// The live pipeline in Graphviz DOT: one node per object, one edge per binding.
std::string dot();

// Back to power-on: objects, bindings, journal, faults, codec registers; then
// every function registered with on_reset (for state a module keeps itself).
void reset();
void on_reset(void (*fn)());

// ---- rules shared between modules ---------------------------------------------
// The system is initialised (HI_MPI_SYS_Init succeeded, no Exit since):
// modules refuse to make objects before, with their SYS_NOTREADY code.
bool sys_ready();
// Whether a module's object at a binding address exists; each simulated
// module registers its rule (sys.cpp), others are taken on trust.
void on_endpoint(int mod, bool (*exists)(Key));
// The store's key for a binding address of a module whose objects are found
// by another rule than (module, device, channel) as given: capture channels
// are numbered chip-wide and live under their own device.
void on_address(int mod, Key (*canonical)(Key));
Key address(Key k);  // the store's key for a channel address
bool endpoint_exists(Key k);  // by the module's rule; true where there is none
// An object taken out of a pipeline (destroyed, disabled, stopped) while
// still bound: the call goes through, the board's pipeline stalls behind it.
// Reports a finding under rule for each binding of k; what says what happened.
void report_bound(Key k, const char* rule, const char* what);
// A destroy refused (the object still runs, is bound or is attached): the
// object stays, but a caller that gives up its handle on any answer (as a
// script object does when collected) leaves it to nobody. Reports that as a
// finding naming the object, then answers refuse(code, why).
HI_S32 refuse_destroy(const std::string& object, HI_S32 code, const std::string& why);

// Whether a common or module pool has blocks of at least bytes: the
// pictures capture and processing make come from them on a board.
bool picture_block_fits(std::size_t bytes);

// ---- defaults for tracked objects -------------------------------------------
// Channel number out of [0, limit): invalid channel; object missing: does not
// exist; otherwise not supported (the module file has not defined the call).
HI_S32 tracked_default(int mod, int dev, int chn, int limit);

extern const char* const function_names[];
extern const unsigned function_count;

}  // namespace sim
