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

// Checks a channel address for the given role; 0 or the platform's code.
HI_S32 check(const MPP_CHN_S* chn, Role role) {
  if (!chn) return err(HI_ID_SYS, NULL_PTR);
  for (const Endpoint& e : kEndpoints) {
    if (e.mod != static_cast<int>(chn->enModId)) continue;
    if ((role == AsSource && !e.source) || (role == AsDestination && !e.destination))
      return err(HI_ID_SYS, ILLEGAL_PARAM);
    if (chn->s32DevId < 0 || chn->s32DevId >= e.devices) return err(HI_ID_SYS, INVALID_DEVID);
    if (chn->s32ChnId < 0 || chn->s32ChnId >= e.channels) return err(HI_ID_SYS, INVALID_CHNID);
    return HI_SUCCESS;
  }
  return err(HI_ID_SYS, ILLEGAL_PARAM);
}

Key keyOf(const MPP_CHN_S& chn) { return Key{static_cast<int>(chn.enModId), chn.s32DevId, chn.s32ChnId}; }

// Existence rules of the simulated modules, by module id.
std::map<int, bool (*)(Key)>& endpointRules() {
  static std::map<int, bool (*)(Key)> rules;
  return rules;
}

// Both ends of a binding must exist where the module is simulated; the
// platform answers with that module's "does not exist".
HI_S32 checkExists(const MPP_CHN_S& chn) {
  if (endpoint_exists(keyOf(chn))) return HI_SUCCESS;
  return err(static_cast<unsigned>(chn.enModId), UNEXIST);
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

// Destinations bound since the system started, so that Exit can undo them.
std::set<Key> g_bound;

void forget() {
  g_zones.clear();
  g_bound.clear();
}
const bool g_registered = (on_reset(&forget), true);

long long nowMicros() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

HI_S32 setPts(HI_U64 pts) {
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  Object& sys = obtain(kSys);
  sys.values["ptsBase"] = static_cast<long long>(pts);
  sys.values["ptsSetAt"] = nowMicros();
  return HI_SUCCESS;
}

}  // namespace

bool sys_ready() { return started(kSys); }

void on_endpoint(int mod, bool (*exists)(Key)) { endpointRules()[mod] = exists; }

bool endpoint_exists(Key k) {
  auto it = endpointRules().find(k.mod);
  return it == endpointRules().end() || it->second(k);
}

void report_bound(Key k, const char* rule, const char* what) {
  Key src;
  if (source_of(k, &src)) finding(rule, label(k) + " " + what + " while bound to its source " + label(src));
  for (const Key& dst : destinations(k)) finding(rule, label(k) + " " + what + " while bound to " + label(dst));
}

namespace h {

HI_S32 HI_MPI_SYS_SetConf(const MPP_SYS_CONF_S* conf) {
  if (!conf) return err(HI_ID_SYS, NULL_PTR);
  if (started(kSys)) return err(HI_ID_SYS, NOT_PERM);
  HI_U32 width = conf->u32AlignWidth;
  if (width < 16 || width > 1024 || (width & (width - 1)) != 0) return err(HI_ID_SYS, ILLEGAL_PARAM);
  obtain(kSys).values["alignWidth"] = width;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetConf(MPP_SYS_CONF_S* conf) {
  if (!conf) return err(HI_ID_SYS, NULL_PTR);
  const Object* sys = find(kSys);
  if (!sys || !sys->values.count("alignWidth")) return err(HI_ID_SYS, NOT_CONFIG);
  conf->u32AlignWidth = static_cast<HI_U32>(sys->values.at("alignWidth"));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_Init(void) {
  if (!started(kVb)) return err(HI_ID_SYS, SYS_NOTREADY);
  const Object* sys = find(kSys);
  if (!sys || !sys->values.count("alignWidth")) return err(HI_ID_SYS, NOT_CONFIG);
  if (sys->started) return HI_SUCCESS;
  obtain(kSys).started = true;
  return setPts(0);
}

HI_S32 HI_MPI_SYS_Exit(void) {
  if (!started(kSys)) return HI_SUCCESS;
  reportLeftovers();
  for (const Key& dst : g_bound) {
    Key src;
    if (source_of(dst, &src)) unbind(src, dst);
  }
  forget();
  obtain(kSys).started = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetVersion(MPP_VERSION_S* version) {
  if (!version) return err(HI_ID_SYS, NULL_PTR);
  std::memset(version, 0, sizeof *version);
  std::strncpy(version->aVersion, "Hi3531D_MPP_V1.0.5.0 B040 Release", sizeof version->aVersion - 1);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_CloseFd(void) { return HI_SUCCESS; }

HI_S32 HI_MPI_SYS_Bind(MPP_CHN_S* src, MPP_CHN_S* dst) {
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  if (HI_S32 rc = check(src, AsSource)) return rc;
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  if (HI_S32 rc = checkExists(*src)) return rc;
  if (HI_S32 rc = checkExists(*dst)) return rc;
  if (!bind(keyOf(*src), keyOf(*dst))) return err(HI_ID_SYS, BUSY);  // already has a source
  g_bound.insert(keyOf(*dst));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_UnBind(MPP_CHN_S* src, MPP_CHN_S* dst) {
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  if (HI_S32 rc = check(src, AsSource)) return rc;
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  if (!unbind(keyOf(*src), keyOf(*dst))) return err(HI_ID_SYS, UNEXIST);
  g_bound.erase(keyOf(*dst));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetBindbyDest(MPP_CHN_S* dst, MPP_CHN_S* src) {
  if (!src) return err(HI_ID_SYS, NULL_PTR);
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  if (HI_S32 rc = check(dst, AsDestination)) return rc;
  Key from;
  if (!source_of(keyOf(*dst), &from)) return err(HI_ID_SYS, UNEXIST);
  src->enModId = static_cast<MOD_ID_E>(from.mod);
  src->s32DevId = from.dev;
  src->s32ChnId = from.chn;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_SetMemConf(MPP_CHN_S* chn, const HI_CHAR* name) {
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  if (HI_S32 rc = check(chn, AnyRole)) return rc;
  Zone& zone = g_zones[keyOf(*chn)];
  std::memset(zone.name, 0, sizeof zone.name);
  if (name) std::memcpy(zone.name, name, strnlen(name, sizeof zone.name));  // null: the default zone
  return HI_SUCCESS;
}

HI_S32 HI_MPI_SYS_GetMemConf(MPP_CHN_S* chn, HI_CHAR* name) {
  if (!name) return err(HI_ID_SYS, NULL_PTR);
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
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
  if (!pts) return err(HI_ID_SYS, NULL_PTR);
  if (!started(kSys)) return err(HI_ID_SYS, SYS_NOTREADY);
  const Object& sys = obtain(kSys);
  *pts = static_cast<HI_U64>(sys.values.at("ptsBase") + (nowMicros() - sys.values.at("ptsSetAt")));
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
