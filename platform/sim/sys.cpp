// System control as the platform has it: configuration and start-up after
// the buffer pools are up, the binding graph, memory zones per channel, the
// 64-bit time base and the version.
//
// Module-wide state lives in the store under negative keys:
//   (SYS, -1, -1)  started: the system is initialised; values "alignWidth"
//                  (configured width), "ptsBase" and "ptsSetAt" (the time
//                  base and the steady-clock microsecond it was set at)
//   (VB, -1, -1)   started: the common buffer pools are initialised (vb.cpp)
#include <chrono>
#include <cstring>
#include <map>
#include <set>

#include "sim/sim.h"

namespace sim {
namespace {

const Key kSys{HI_ID_SYS, -1, -1};
const Key kVb{HI_ID_VB, -1, -1};

bool started(Key k) {
  const Object* o = find(k);
  return o && o->started;
}

// Which channels take part in bindings and memory configuration, and their
// number ranges on this chip.
struct Endpoint {
  int mod;
  bool source, destination;
  int devices, channels;
};

const Endpoint kEndpoints[] = {
    {HI_ID_VIU, true, false, VIU_MAX_DEV_NUM, VIU_MAX_CHN_NUM},
    {HI_ID_VPSS, true, true, VPSS_MAX_GRP_NUM, VPSS_MAX_CHN_NUM},
    {HI_ID_VDEC, true, false, 1, VDEC_MAX_CHN_NUM},
    {HI_ID_VENC, false, true, 1, VENC_MAX_CHN_NUM},
    {HI_ID_VOU, true, true, VO_MAX_LAYER_NUM, VO_MAX_CHN_NUM},  // write-back as a source
    {HI_ID_AI, true, false, AIO_MAX_NUM, AIO_MAX_CHN_NUM},
    {HI_ID_AO, false, true, AIO_MAX_NUM, AIO_MAX_CHN_NUM},
    {HI_ID_AENC, false, true, 1, AENC_MAX_CHN_NUM},
    {HI_ID_ADEC, true, false, 1, ADEC_MAX_CHN_NUM},
};

enum Role { AnyRole, AsSource, AsDestination };

const char* moduleName(int mod) {
  switch (mod) {
    case HI_ID_VIU: return "VIU";
    case HI_ID_VPSS: return "VPSS";
    case HI_ID_VDEC: return "VDEC";
    case HI_ID_VENC: return "VENC";
    case HI_ID_VOU: return "VOU";
    case HI_ID_AI: return "AI";
    case HI_ID_AO: return "AO";
    case HI_ID_AENC: return "AENC";
    case HI_ID_ADEC: return "ADEC";
    default: return "module";
  }
}

// Checks a channel address for the given role; 0 or the platform's code.
// Capture channels are numbered chip-wide: the board finds one by its
// number and reads no device, so their device field is not judged.
HI_S32 check(const MPP_CHN_S* chn, Role role) {
  if (!chn) return refuse(err(HI_ID_SYS, NULL_PTR), "no channel address given (null pointer)");
  const int mod = static_cast<int>(chn->enModId);
  for (const Endpoint& e : kEndpoints) {
    if (e.mod != mod) continue;
    if ((role == AsSource && !e.source) || (role == AsDestination && !e.destination))
      return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "a %s channel cannot be bound as a %s", moduleName(mod),
                    role == AsSource ? "source" : "destination");
    if (mod != HI_ID_VIU && (chn->s32DevId < 0 || chn->s32DevId >= e.devices))
      return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "%s device %d outside [0, %d)", moduleName(mod), chn->s32DevId,
                    e.devices);
    if (chn->s32ChnId < 0 || chn->s32ChnId >= e.channels)
      return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "%s channel %d outside [0, %d)", moduleName(mod), chn->s32ChnId,
                    e.channels);
    return HI_SUCCESS;
  }
  return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "module %d takes no part in bindings", mod);
}

// Existence rules and canonical addresses of the simulated modules, by module id.
struct EndpointRule {
  bool (*exists)(Key) = nullptr;
  Key (*canonical)(Key) = nullptr;
};

std::map<int, EndpointRule>& endpointRules() {
  static std::map<int, EndpointRule> rules;
  return rules;
}

// The store's key of a binding address: the module's own key for the
// object (a capture channel under its own device, whatever device the
// address names).
Key keyOf(const MPP_CHN_S& chn) {
  return address(Key{static_cast<int>(chn.enModId), chn.s32DevId, chn.s32ChnId});
}

// Both ends of a binding must exist where the module is simulated; the
// platform answers with that module's "does not exist", or the nearest code
// of a module that has none: capture and display channels exist once
// configured, audio channels once enabled, and the display's only source is
// its write-back, which exists while enabled.
HI_S32 checkExists(const MPP_CHN_S& chn, Role role) {
  const Key k = keyOf(chn);
  if (endpoint_exists(k)) return HI_SUCCESS;
  const std::string what = label(k);
  switch (k.mod) {
    case HI_ID_VIU: return refuse(HI_ERR_VI_FAILED_NOTCONFIG, "%s has no attributes (SetChnAttr)", what.c_str());
    case HI_ID_VOU:
      if (role == AsSource) return refuse(HI_ERR_VO_NOT_PERMIT, "the write-back (%s) is not enabled", what.c_str());
      return refuse(HI_ERR_VO_CHN_NOT_CONFIG, "%s has no attributes (SetChnAttr)", what.c_str());
    case HI_ID_AI: return refuse(HI_ERR_AI_NOT_ENABLED, "%s was never enabled", what.c_str());
    case HI_ID_AO: return refuse(HI_ERR_AO_NOT_ENABLED, "%s was never enabled", what.c_str());
    default: return refuse(code_of(k.mod, UNEXIST, {NOT_CONFIG, NOT_PERM}), "%s does not exist", what.c_str());
  }
}

// What a script left behind at system exit: the call goes through, the
// board keeps running hardware and loses buffers.
void reportLeftovers() {
  for (const Key& k : objects()) {
    const Object* o = find(k);
    if (k.dev < 0 || !o || !(o->created || o->enabled || o->started)) continue;
    bool receives = k.mod == HI_ID_VENC || k.mod == HI_ID_VDEC;
    const char* state = o->started ? (receives ? "still receiving" : "still started")
                        : o->enabled ? "still enabled" : "still exists";
    finding(o->started || o->enabled ? "running-at-exit" : "alive-at-exit",
            label(k) + " " + state + " at system exit");
  }
  for (const auto& b : bindings())
    finding("bound-at-exit", "binding " + label(b.first) + " -> " + label(b.second) +
                                 " left in place at system exit");
}

// Memory-zone names set per channel; a name fills all MAX_MMZ_NAME_LEN bytes
// without a terminating zero when it is that long, as on the board.
struct Zone {
  char name[MAX_MMZ_NAME_LEN];
};
std::map<Key, Zone> g_zones;

// Destinations bound since the system started, so that Exit can undo them,
// with the source address as the script gave it (GetBindbyDest answers it).
std::map<Key, MPP_CHN_S> g_bound;

void forget() {
  g_zones.clear();
  g_bound.clear();
}
const bool g_registered = (on_reset(&forget), true);

long long nowMicros() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

HI_S32 notReady() { return refuse(err(HI_ID_SYS, SYS_NOTREADY), "the system is not initialised (SYS.Init)"); }

HI_S32 setPts(HI_U64 pts) {
  if (!started(kSys)) return notReady();
  Object& sys = obtain(kSys);
  sys.values["ptsBase"] = static_cast<long long>(pts);
  sys.values["ptsSetAt"] = nowMicros();
  return HI_SUCCESS;
}

}  // namespace

bool sys_ready() { return started(kSys); }

void on_endpoint(int mod, bool (*exists)(Key)) { endpointRules()[mod].exists = exists; }
void on_address(int mod, Key (*canonical)(Key)) { endpointRules()[mod].canonical = canonical; }

Key address(Key k) {
  auto it = endpointRules().find(k.mod);
  return it != endpointRules().end() && it->second.canonical ? it->second.canonical(k) : k;
}

bool endpoint_exists(Key k) {
  auto it = endpointRules().find(k.mod);
  return it == endpointRules().end() || !it->second.exists || it->second.exists(k);
}

void report_bound(Key k, const char* rule, const char* what) {
  Key src;
  if (source_of(k, &src)) finding(rule, label(k) + " " + what + " while bound to its source " + label(src));
  for (const Key& dst : destinations(k)) finding(rule, label(k) + " " + what + " while bound to " + label(dst));
}

namespace h {

HI_S32 HI_MPI_SYS_SetConf(const MPP_SYS_CONF_S* conf) {
  if (!conf) return refuse(err(HI_ID_SYS, NULL_PTR), "no configuration given (null pointer)");
  if (started(kSys)) return refuse(err(HI_ID_SYS, NOT_PERM), "the system is initialised: configure it before SYS.Init");
  HI_U32 width = conf->u32AlignWidth;
  if (width < 16 || width > 1024 || (width & (width - 1)) != 0)
    return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "alignment width %u is not a power of two in [16, 1024]", width);
  obtain(kSys).values["alignWidth"] = width;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetConf(MPP_SYS_CONF_S* conf) {
  if (!conf) return refuse(err(HI_ID_SYS, NULL_PTR), "nowhere to write the configuration (null pointer)");
  const Object* sys = find(kSys);
  if (!sys || !sys->values.count("alignWidth"))
    return refuse(err(HI_ID_SYS, NOT_PERM), "the system configuration was never set (SYS.SetConf)");
  conf->u32AlignWidth = static_cast<HI_U32>(sys->values.at("alignWidth"));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_Init(void) {
  if (!started(kVb)) return refuse(err(HI_ID_SYS, SYS_NOTREADY), "the buffer pools are not initialised (VB.Init)");
  const Object* sys = find(kSys);
  if (!sys || !sys->values.count("alignWidth"))
    return refuse(err(HI_ID_SYS, NOT_PERM), "the system configuration was never set (SYS.SetConf)");
  if (sys->started) return HI_SUCCESS;
  obtain(kSys).started = true;
  return setPts(0);
}

HI_S32 HI_MPI_SYS_Exit(void) {
  if (!started(kSys)) return HI_SUCCESS;
  reportLeftovers();
  for (const auto& b : g_bound) {
    Key src;
    if (source_of(b.first, &src)) unbind(src, b.first);
  }
  forget();
  obtain(kSys).started = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetVersion(MPP_VERSION_S* version) {
  if (!version) return refuse(err(HI_ID_SYS, NULL_PTR), "nowhere to write the version (null pointer)");
  std::memset(version, 0, sizeof *version);
  std::strncpy(version->aVersion, "Hi3531D_MPP_V1.0.5.0 B040 Release", sizeof version->aVersion - 1);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_CloseFd(void) { return HI_SUCCESS; }

HI_S32 HI_MPI_SYS_Bind(MPP_CHN_S* src, MPP_CHN_S* dst) {
  if (!started(kSys)) return notReady();
  if (HI_S32 rc = check(src, AsSource)) return rc;
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  if (HI_S32 rc = checkExists(*src, AsSource)) return rc;
  if (HI_S32 rc = checkExists(*dst, AsDestination)) return rc;
  Key had;
  if (source_of(keyOf(*dst), &had))
    return refuse(err(HI_ID_SYS, BUSY), "%s is bound to %s already: a destination has one source",
                  label(keyOf(*dst)).c_str(), label(had).c_str());
  bind(keyOf(*src), keyOf(*dst));
  g_bound[keyOf(*dst)] = *src;
  return HI_SUCCESS;
}

// Unbinding what is not bound changes nothing; whether a board answers an
// error is not known, so the call goes through and a finding says so.
HI_S32 HI_MPI_SYS_UnBind(MPP_CHN_S* src, MPP_CHN_S* dst) {
  if (!started(kSys)) return notReady();
  if (HI_S32 rc = check(src, AsSource)) return rc;
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  if (!unbind(keyOf(*src), keyOf(*dst))) {
    finding("unbind-not-bound", "unbinding " + label(keyOf(*src)) + " -> " + label(keyOf(*dst)) +
                                    ", which are not bound: nothing changed");
    return HI_SUCCESS;
  }
  g_bound.erase(keyOf(*dst));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetBindbyDest(MPP_CHN_S* dst, MPP_CHN_S* src) {
  if (!src) return refuse(err(HI_ID_SYS, NULL_PTR), "nowhere to write the source (null pointer)");
  if (!started(kSys)) return notReady();
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  auto it = g_bound.find(keyOf(*dst));
  Key from;
  if (!source_of(keyOf(*dst), &from) || it == g_bound.end())
    return refuse(err(HI_ID_SYS, ILLEGAL_PARAM), "%s has no source bound", label(keyOf(*dst)).c_str());
  *src = it->second;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_SetMemConf(MPP_CHN_S* chn, const HI_CHAR* name) {
  if (!started(kSys)) return notReady();
  if (HI_S32 rc = check(chn, AnyRole)) return rc;
  Zone& zone = g_zones[keyOf(*chn)];
  std::memset(zone.name, 0, sizeof zone.name);
  if (name) std::memcpy(zone.name, name, strnlen(name, sizeof zone.name));  // null: the default zone
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetMemConf(MPP_CHN_S* chn, HI_CHAR* name) {
  if (!name) return refuse(err(HI_ID_SYS, NULL_PTR), "nowhere to write the zone name (null pointer)");
  if (!started(kSys)) return notReady();
  if (HI_S32 rc = check(chn, AnyRole)) return rc;
  auto it = g_zones.find(keyOf(*chn));
  if (it == g_zones.end())
    std::memset(name, 0, MAX_MMZ_NAME_LEN);
  else
    std::memcpy(name, it->second.name, MAX_MMZ_NAME_LEN);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_InitPtsBase(HI_U64 pts) { return setPts(pts); }

HI_S32 HI_MPI_SYS_SyncPts(HI_U64 pts) { return setPts(pts); }

HI_S32 HI_MPI_SYS_GetCurPts(HI_U64* pts) {
  if (!pts) return refuse(err(HI_ID_SYS, NULL_PTR), "nowhere to write the time (null pointer)");
  if (!started(kSys)) return notReady();
  const Object& sys = obtain(kSys);
  *pts = static_cast<HI_U64>(sys.values.at("ptsBase") + (nowMicros() - sys.values.at("ptsSetAt")));
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
