// Shared by the module files: finding the object a call addresses, and the
// "a Get answers what a Set stored" pattern over the store's attributes.
#pragma once

#include "sim/sim.h"

namespace sim {

// An object a call addresses, or the platform's code saying why there is none.
struct Found {
  Object* o;
  HI_S32 rc;
};

inline Found missing(HI_S32 rc) { return {nullptr, rc}; }

// Stores *value under name once judge (0 or a code) accepts it.
template <class T, class Judge>
HI_S32 store(int mod, Found f, const char* name, const T* value, Judge judge) {
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

// Creates the channel object at k (channel number below limit) with its
// attributes stored as "ChnAttr", once the system is up and judge accepts them.
template <class A, class Judge>
HI_S32 createChannel(int mod, Key k, int limit, const A* attr, Judge judge) {
  if (k.chn < 0 || k.chn >= limit)
    return refuse(err(mod, INVALID_CHNID), "channel %d outside [0, %d)", k.chn, limit);
  if (!sys_ready()) return refuse(err(mod, SYS_NOTREADY), "the system is not initialised (SYS.Init)");
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
    return refuse_destroy(label(k), err(mod, BUSY), "still bound: unbind it first");
  destroy(k);
  return HI_SUCCESS;
}

}  // namespace sim
