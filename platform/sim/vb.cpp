// Video buffer pools as the platform has them: the common pools are laid out
// (SetConf) before they are made (Init); per-module common pools likewise
// (SetModPoolConf, then InitModCommPool once the system runs); private pools
// are made and destroyed by id. Every pool hands out blocks and counts them.
//
// The maximum pool count of the common configuration bounds the number of
// pools of every kind that exist at once. The store's (VB, -1, -1) object is
// started while the common pools exist; sys.cpp reads it.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "sim/sim.h"

namespace sim {
namespace {

const Key kVb{HI_ID_VB, -1, -1};
const Key kSys{HI_ID_SYS, -1, -1};

bool started(Key k) {
  const Object* o = find(k);
  return o && o->started;
}

enum class Owner { Common, Module, Private };

struct PoolState {
  Owner owner;
  int uid;  // Module: the user whose pools these are
  HI_U32 blkSize;
  std::vector<int> users;  // per block: how many hold it (0: free)
  bool mapped = false;
};

struct ModuleConf {
  bool configured = false, initialised = false;
  VB_CONF_S conf;
};

struct VbState {
  bool configured = false;
  VB_CONF_S conf;
  ModuleConf modules[VB_UID_BUTT];
  std::map<VB_POOL, PoolState> pools;
};

VbState g_vb;

void forget() { g_vb = VbState(); }
const bool g_registered = (on_reset(&forget), true);

// Blocks are named by pool and index: pool << 20 | index.
constexpr unsigned kIndexBits = 20;
constexpr HI_U32 kMaxBlocks = 1u << kIndexBits;

// Makes a pool under the lowest free id; VB_INVALID_POOLID when the
// configured maximum is reached or the arguments are unusable.
VB_POOL makePool(Owner owner, int uid, HI_U32 blkSize, HI_U32 blkCnt) {
  if (blkSize == 0 || blkCnt == 0 || blkCnt > kMaxBlocks) return VB_INVALID_POOLID;
  if (g_vb.pools.size() >= g_vb.conf.u32MaxPoolCnt) return VB_INVALID_POOLID;
  VB_POOL id = 0;
  while (g_vb.pools.count(id)) ++id;
  g_vb.pools[id] = PoolState{owner, uid, blkSize, std::vector<int>(blkCnt, 0)};
  return id;
}

// Makes the pools of a configuration; false (and none made) when they do
// not all fit.
bool makePools(const VB_CONF_S& conf, Owner owner, int uid) {
  std::vector<VB_POOL> made;
  for (const auto& p : conf.astCommPool) {
    if (p.u32BlkSize == 0 || p.u32BlkCnt == 0) continue;
    VB_POOL id = makePool(owner, uid, p.u32BlkSize, p.u32BlkCnt);
    if (id == VB_INVALID_POOLID) {
      for (VB_POOL m : made) g_vb.pools.erase(m);
      return false;
    }
    made.push_back(id);
  }
  return true;
}

void dropPools(Owner owner, int uid) {
  for (auto it = g_vb.pools.begin(); it != g_vb.pools.end();)
    it = it->second.owner == owner && it->second.uid == uid ? g_vb.pools.erase(it) : std::next(it);
}

bool validUid(VB_UID_E uid) { return static_cast<unsigned>(uid) < VB_UID_BUTT; }

// Counts in use of the block named by handle, or null.
int* blockUsers(VB_BLK handle) {
  auto it = g_vb.pools.find(handle >> kIndexBits);
  if (it == g_vb.pools.end()) return nullptr;
  HI_U32 index = handle & (kMaxBlocks - 1);
  return index < it->second.users.size() ? &it->second.users[index] : nullptr;
}

// Takes a free block of the pool; VB_INVALID_HANDLE when all are held.
VB_BLK takeBlock(VB_POOL id, PoolState& pool) {
  for (size_t i = 0; i < pool.users.size(); ++i)
    if (pool.users[i] == 0) {
      pool.users[i] = 1;
      return id << kIndexBits | static_cast<HI_U32>(i);
    }
  return VB_INVALID_HANDLE;
}

int blocksHeld(const PoolState& pool) {
  int held = 0;
  for (int n : pool.users) held += n != 0;
  return held;
}

bool inUse(const PoolState& pool) { return blocksHeld(pool) != 0; }

// Blocks a script took and never released, and private pools never
// destroyed, outlive the pools on a board: memory lost until reboot.
void reportLeftovers() {
  for (const auto& p : g_vb.pools) {
    if (int held = blocksHeld(p.second))
      finding("blocks-held-at-exit", "VB pool " + std::to_string(p.first) + ": " + std::to_string(held) +
                                         " block(s) still held at VB exit");
    if (p.second.owner == Owner::Private)
      finding("pool-alive-at-exit", "private VB pool " + std::to_string(p.first) + " still exists at VB exit");
  }
}

}  // namespace

namespace h {

HI_S32 HI_MPI_VB_SetConf(const VB_CONF_S* conf) {
  if (!conf) return err(HI_ID_VB, NULL_PTR);
  if (started(kVb)) return err(HI_ID_VB, NOT_PERM);
  if (conf->u32MaxPoolCnt == 0 || conf->u32MaxPoolCnt > VB_MAX_POOLS) return err(HI_ID_VB, ILLEGAL_PARAM);
  g_vb.conf = *conf;
  g_vb.configured = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_GetConf(VB_CONF_S* conf) {
  if (!conf) return err(HI_ID_VB, NULL_PTR);
  if (!g_vb.configured) return err(HI_ID_VB, NOT_CONFIG);
  *conf = g_vb.conf;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_Init(void) {
  if (!g_vb.configured) return err(HI_ID_VB, NOT_CONFIG);
  if (started(kVb)) return HI_SUCCESS;
  if (!makePools(g_vb.conf, Owner::Common, -1)) return err(HI_ID_VB, NOMEM);
  obtain(kVb).started = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_Exit(void) {
  if (!started(kVb)) return HI_SUCCESS;
  if (started(kSys)) return err(HI_ID_VB, BUSY);  // the system still uses the pools
  reportLeftovers();
  dropPools(Owner::Common, -1);
  for (int uid = 0; uid < static_cast<int>(VB_UID_BUTT); ++uid) {
    dropPools(Owner::Module, uid);
    g_vb.modules[uid].initialised = false;
  }
  obtain(kVb).started = false;
  return HI_SUCCESS;
}

VB_POOL HI_MPI_VB_CreatePool(HI_U32 blkSize, HI_U32 blkCnt, const HI_CHAR* zone) {
  if (!started(kVb)) return VB_INVALID_POOLID;
  return makePool(Owner::Private, -1, blkSize, blkCnt);
}

HI_S32 HI_MPI_VB_DestroyPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return err(HI_ID_VB, UNEXIST);
  if (it->second.owner != Owner::Private) return err(HI_ID_VB, NOT_PERM);
  if (inUse(it->second)) return err(HI_ID_VB, BUSY);
  g_vb.pools.erase(it);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_MmapPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return err(HI_ID_VB, UNEXIST);
  it->second.mapped = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_MunmapPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return err(HI_ID_VB, UNEXIST);
  if (!it->second.mapped) return err(HI_ID_VB, NOT_PERM);
  it->second.mapped = false;
  return HI_SUCCESS;
}

VB_BLK HI_MPI_VB_GetBlock(VB_POOL id, HI_U32 blkSize, const HI_CHAR* zone) {
  if (id != VB_INVALID_POOLID) {
    auto it = g_vb.pools.find(id);
    if (it == g_vb.pools.end() || blkSize > it->second.blkSize) return VB_INVALID_HANDLE;
    return takeBlock(id, it->second);
  }
  // Any common pool: the one with the smallest blocks that fit and a free one.
  for (auto& p : g_vb.pools) {
    if (p.second.owner != Owner::Common || p.second.blkSize < blkSize) continue;
    VB_BLK blk = takeBlock(p.first, p.second);
    if (blk != VB_INVALID_HANDLE) return blk;
  }
  return VB_INVALID_HANDLE;
}

HI_S32 HI_MPI_VB_ReleaseBlock(VB_BLK handle) {
  int* users = blockUsers(handle);
  if (!users || *users == 0) return err(HI_ID_VB, ILLEGAL_PARAM);
  --*users;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_InquireUserCnt(VB_BLK handle) {
  int* users = blockUsers(handle);
  if (!users) return err(HI_ID_VB, ILLEGAL_PARAM);
  return *users;
}

VB_POOL HI_MPI_VB_Handle2PoolId(VB_BLK handle) {
  return blockUsers(handle) ? handle >> kIndexBits : VB_INVALID_POOLID;
}

HI_S32 HI_MPI_VB_SetModPoolConf(VB_UID_E uid, const VB_CONF_S* conf) {
  if (!validUid(uid)) return err(HI_ID_VB, ILLEGAL_PARAM);
  if (!conf) return err(HI_ID_VB, NULL_PTR);
  ModuleConf& m = g_vb.modules[uid];
  if (m.initialised) return err(HI_ID_VB, NOT_PERM);
  if (conf->u32MaxPoolCnt == 0 || conf->u32MaxPoolCnt > VB_MAX_MOD_COMM_POOLS)
    return err(HI_ID_VB, ILLEGAL_PARAM);
  m.conf = *conf;
  m.configured = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_GetModPoolConf(VB_UID_E uid, VB_CONF_S* conf) {
  if (!validUid(uid)) return err(HI_ID_VB, ILLEGAL_PARAM);
  if (!conf) return err(HI_ID_VB, NULL_PTR);
  if (!g_vb.modules[uid].configured) return err(HI_ID_VB, NOT_CONFIG);
  *conf = g_vb.modules[uid].conf;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_InitModCommPool(VB_UID_E uid) {
  if (!validUid(uid)) return err(HI_ID_VB, ILLEGAL_PARAM);
  if (!started(kSys)) return err(HI_ID_VB, SYS_NOTREADY);
  ModuleConf& m = g_vb.modules[uid];
  if (!m.configured) return err(HI_ID_VB, NOT_CONFIG);
  if (m.initialised) return HI_SUCCESS;
  if (!makePools(m.conf, Owner::Module, uid)) return err(HI_ID_VB, NOMEM);
  m.initialised = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_ExitModCommPool(VB_UID_E uid) {
  if (!validUid(uid)) return err(HI_ID_VB, ILLEGAL_PARAM);
  dropPools(Owner::Module, uid);
  g_vb.modules[uid].initialised = false;
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
