// Shared by the module files: finding the object a call addresses, judging
// the values a call is given, and the "a Get answers what a Set stored"
// pattern over the store's attributes.
#pragma once

#include <cstdarg>
#include <cstdio>

#include "sim/sim.h"

namespace sim {

// An object a call addresses, or the platform's code saying why there is none.
struct Found {
  Object* o;
  HI_S32 rc;
};

inline Found missing(HI_S32 rc) { return {nullptr, rc}; }

// The module's objects need the system up.
inline HI_S32 notReady(int mod) {
  return refuse(err(mod, SYS_NOTREADY), "the system is not initialised (SYS.Init)");
}

// Stores *value under name once judge (0 or a code) accepts it.
template <class T, class Check>
HI_S32 store(int mod, Found f, const char* name, const T* value, Check judge) {
  if (!f.o) return f.rc;
  if (!value) return refuse(err(mod, NULL_PTR), "no %s given (null pointer)", name);
  if (HI_S32 bad = judge(*value)) return bad;
  f.o->put(name, *value);
  return HI_SUCCESS;
}

template <class T>
HI_S32 store(int mod, Found f, const char* name, const T* value) {
  return store(mod, f, name, value, [](const T&) { return HI_SUCCESS; });
}

// Answers what was stored under name, or the platform's default.
template <class T>
HI_S32 load(int mod, Found f, const char* name, T* out, const T& byDefault) {
  if (!f.o) return f.rc;
  if (!out) return refuse(err(mod, NULL_PTR), "nowhere to write %s (null pointer)", name);
  if (!f.o->get(name, out)) *out = byDefault;
  return HI_SUCCESS;
}

// Answers what was stored under name; "not configured" when nothing was.
template <class T>
HI_S32 loadConfigured(int mod, Found f, const char* name, T* out) {
  if (!f.o) return f.rc;
  if (!out) return refuse(err(mod, NULL_PTR), "nowhere to write %s (null pointer)", name);
  if (f.o->get(name, out)) return HI_SUCCESS;
  return refuse(code_of(mod, NOT_CONFIG, {NOT_PERM}), "%s was never set", name);
}

inline bool within(long long v, long long lo, long long hi) { return v >= lo && v <= hi; }

// Judges the values of a request in order: the first that breaks its rule
// refuses the call with the code in force and a sentence naming the value
// and the rule ("bit rate 0 kbit/s outside [2, 102400]"); the checks after
// it are skipped. Converts to 0, or to that code.
class Judge {
 public:
  explicit Judge(HI_S32 code) : code_(code) {}

  // The code the checks that follow refuse with.
  Judge& as(HI_S32 code) {
    code_ = code;
    return *this;
  }
  Judge& range(const char* what, long long v, long long lo, long long hi) {
    if (!rc_ && !within(v, lo, hi)) rc_ = refuse(code_, "%s %lld outside [%lld, %lld]", what, v, lo, hi);
    return *this;
  }
  Judge& flag(const char* what, int v) {
    if (!rc_ && v != HI_TRUE && v != HI_FALSE) rc_ = refuse(code_, "%s %d is neither HI_TRUE nor HI_FALSE", what, v);
    return *this;
  }
  // An enumeration below its _BUTT value, compared as its own type.
  template <class E>
  Judge& below(const char* what, E v, E butt) {
    if (!rc_ && !(v < butt))
      rc_ = refuse(code_, "%s %d outside [0, %d)", what, static_cast<int>(v), static_cast<int>(butt));
    return *this;
  }
  // Any other rule: the sentence says what is wrong.
  Judge& rule(bool ok, const char* fmt, ...) __attribute__((format(printf, 3, 4))) {
    if (rc_ || ok) return *this;
    char why[256];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(why, sizeof why, fmt, ap);
    va_end(ap);
    rc_ = refuse(code_, "%s", why);
    return *this;
  }
  operator HI_S32() const { return rc_; }

 private:
  HI_S32 code_;
  HI_S32 rc_ = HI_SUCCESS;
};

// Judges a call's values with the module's illegal-parameter code.
inline Judge checks(int mod) { return Judge(err(mod, ILLEGAL_PARAM)); }

// Frame-rate control: -1 on both sides for none, otherwise rates above 0
// with the destination no faster than the source.
inline HI_S32 judgeFrameRates(int mod, HI_S32 src, HI_S32 dst) {
  if ((src == -1 && dst == -1) || (src > 0 && dst > 0 && dst <= src)) return HI_SUCCESS;
  return refuse(err(mod, ILLEGAL_PARAM),
                "frame rates %d -> %d: -1 on both sides (no control), or 0 < destination <= source", src, dst);
}

// Creates the channel object at k (channel number below limit) with its
// attributes stored as "ChnAttr", once the system is up and judge accepts them.
template <class A, class Check>
HI_S32 createChannel(int mod, Key k, int limit, const A* attr, Check judge) {
  if (k.chn < 0 || k.chn >= limit)
    return refuse(err(mod, INVALID_CHNID), "channel %d outside [0, %d)", k.chn, limit);
  if (!sys_ready()) return notReady(mod);
  if (!attr) return refuse(err(mod, NULL_PTR), "no attributes given (null pointer)");
  if (find(k)) return refuse(err(mod, EXIST), "%s exists already", label(k).c_str());
  if (HI_S32 bad = judge(*attr)) return bad;
  Object& o = obtain(k);
  o.created = true;
  o.put("ChnAttr", *attr);
  return HI_SUCCESS;
}

// Destroys the channel object at k unless it runs (stop it first) or is
// still bound either way.
inline HI_S32 destroyChannel(int mod, Found f, Key k) {
  if (!f.o) return f.rc;
  if (f.o->started) return refuse_destroy(label(k), err(mod, NOT_PERM), "still receiving: stop it first");
  Key src;
  if (source_of(k, &src) || !destinations(k).empty())
    return refuse_destroy(label(k), code_of(mod, BUSY, {NOT_PERM}), "still bound: unbind it first");
  destroy(k);
  return HI_SUCCESS;
}

}  // namespace sim
