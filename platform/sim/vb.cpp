// Video buffer pools as the platform has them: the common pools are laid out
// (SetConf) before they are made (Init); per-module common pools likewise
// (SetModPoolConf, then InitModCommPool once the system runs); private pools
// are made and destroyed by id. Every pool hands out blocks and counts them.
//
// The maximum pool count of the common configuration bounds the common
// pools only; a module's configuration bounds that module's pools; private
// pools and all pools together are bounded by the chip's pool count. The
// store's (VB, -1, -1) object is started while the common pools exist;
// sys.cpp reads it.
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

size_t poolsOf(Owner owner, int uid) {
  size_t n = 0;
  for (const auto& p : g_vb.pools) n += p.second.owner == owner && p.second.uid == uid;
  return n;
}

// Makes a pool under the lowest free id; VB_INVALID_POOLID (and the reason)
// when a maximum is reached or the arguments are unusable. max bounds the
// pools of this owner.
VB_POOL makePool(Owner owner, int uid, HI_U32 blkSize, HI_U32 blkCnt, HI_U32 max) {
  if (blkSize == 0 || blkCnt == 0 || blkCnt > kMaxBlocks) {
    refuse(err(HI_ID_VB, ILLEGAL_PARAM), "a pool of %u blocks of %u bytes: both must be positive, at most %u blocks",
           blkCnt, blkSize, kMaxBlocks);
    return VB_INVALID_POOLID;
  }
  if (poolsOf(owner, uid) >= max || g_vb.pools.size() >= VB_MAX_POOLS) {
    refuse(err(HI_ID_VB, NOMEM), "%u pool(s) exist of at most %u %s", static_cast<unsigned>(poolsOf(owner, uid)),
           poolsOf(owner, uid) >= max ? max : VB_MAX_POOLS,
           poolsOf(owner, uid) >= max ? (owner == Owner::Common ? "common pools (u32MaxPoolCnt)"
                                                                 : "pools of this module (u32MaxPoolCnt)")
                                      : "pools on the chip");
    return VB_INVALID_POOLID;
  }
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
    VB_POOL id = makePool(owner, uid, p.u32BlkSize, p.u32BlkCnt, conf.u32MaxPoolCnt);
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

HI_S32 badUid(VB_UID_E uid) {
  if (static_cast<unsigned>(uid) < VB_UID_BUTT) return HI_SUCCESS;
  return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "pool user %d outside [0, %d)", static_cast<int>(uid),
                static_cast<int>(VB_UID_BUTT));
}

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
  if (!conf) return refuse(err(HI_ID_VB, NULL_PTR), "no configuration given (null pointer)");
  if (started(kVb)) return refuse(err(HI_ID_VB, NOT_PERM), "the common pools exist: configure them before VB.Init");
  if (conf->u32MaxPoolCnt == 0 || conf->u32MaxPoolCnt > VB_MAX_POOLS)
    return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "u32MaxPoolCnt %u outside [1, %u]", conf->u32MaxPoolCnt, VB_MAX_POOLS);
  g_vb.conf = *conf;
  g_vb.configured = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_GetConf(VB_CONF_S* conf) {
  if (!conf) return refuse(err(HI_ID_VB, NULL_PTR), "nowhere to write the configuration (null pointer)");
  if (!g_vb.configured) return refuse(err(HI_ID_VB, NOT_PERM), "the common pools were never configured (VB.SetConf)");
  *conf = g_vb.conf;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_Init(void) {
  if (!g_vb.configured) return refuse(err(HI_ID_VB, NOT_PERM), "the common pools were never configured (VB.SetConf)");
  if (started(kVb)) return HI_SUCCESS;
  if (!makePools(g_vb.conf, Owner::Common, -1)) return err(HI_ID_VB, NOMEM);  // makePool said why
  obtain(kVb).started = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_Exit(void) {
  if (!started(kVb)) return HI_SUCCESS;
  if (started(kSys)) return refuse(err(HI_ID_VB, BUSY), "the system still uses the pools: SYS.Exit first");
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
  if (!started(kVb)) {
    refuse(err(HI_ID_VB, SYS_NOTREADY), "the common pools are not initialised (VB.Init)");
    return VB_INVALID_POOLID;
  }
  return makePool(Owner::Private, -1, blkSize, blkCnt, VB_MAX_POOLS);
}

HI_S32 HI_MPI_VB_DestroyPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return refuse(err(HI_ID_VB, UNEXIST), "pool %u does not exist", id);
  if (it->second.owner != Owner::Private)
    return refuse(err(HI_ID_VB, NOT_PERM), "pool %u is a common or module pool, not made with CreatePool", id);
  if (inUse(it->second))
    return refuse_destroy("VB pool " + std::to_string(id), err(HI_ID_VB, BUSY),
                          std::to_string(blocksHeld(it->second)) + " block(s) still held");
  g_vb.pools.erase(it);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_MmapPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return refuse(err(HI_ID_VB, UNEXIST), "pool %u does not exist", id);
  it->second.mapped = true;
  return HI_SUCCESS;
}

// Unmapping a pool that is not mapped changes nothing; whether a board
// answers an error is not known, so the call goes through with a finding.
HI_S32 HI_MPI_VB_MunmapPool(VB_POOL id) {
  auto it = g_vb.pools.find(id);
  if (it == g_vb.pools.end()) return refuse(err(HI_ID_VB, UNEXIST), "pool %u does not exist", id);
  if (!it->second.mapped)
    finding("munmap-not-mapped", "VB pool " + std::to_string(id) + " is not mapped: nothing unmapped");
  it->second.mapped = false;
  return HI_SUCCESS;
}

VB_BLK HI_MPI_VB_GetBlock(VB_POOL id, HI_U32 blkSize, const HI_CHAR* zone) {
  if (id != VB_INVALID_POOLID) {
    auto it = g_vb.pools.find(id);
    if (it == g_vb.pools.end()) {
      refuse(err(HI_ID_VB, UNEXIST), "pool %u does not exist", id);
      return VB_INVALID_HANDLE;
    }
    if (blkSize > it->second.blkSize) {
      refuse(err(HI_ID_VB, ILLEGAL_PARAM), "%u bytes asked of pool %u, whose blocks hold %u", blkSize, id,
             it->second.blkSize);
      return VB_INVALID_HANDLE;
    }
    VB_BLK blk = takeBlock(id, it->second);
    if (blk == VB_INVALID_HANDLE) refuse(err(HI_ID_VB, NOBUF), "every block of pool %u is held", id);
    return blk;
  }
  // Any common pool: the one with the smallest blocks that fit and a free one.
  for (auto& p : g_vb.pools) {
    if (p.second.owner != Owner::Common || p.second.blkSize < blkSize) continue;
    VB_BLK blk = takeBlock(p.first, p.second);
    if (blk != VB_INVALID_HANDLE) return blk;
  }
  refuse(err(HI_ID_VB, NOBUF), "no common pool has a free block of %u bytes", blkSize);
  return VB_INVALID_HANDLE;
}

HI_S32 HI_MPI_VB_ReleaseBlock(VB_BLK handle) {
  int* users = blockUsers(handle);
  if (!users) return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "block 0x%X does not exist", handle);
  if (*users == 0) return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "block 0x%X is not held", handle);
  --*users;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_InquireUserCnt(VB_BLK handle) {
  int* users = blockUsers(handle);
  if (!users) return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "block 0x%X does not exist", handle);
  return *users;
}

VB_POOL HI_MPI_VB_Handle2PoolId(VB_BLK handle) {
  if (blockUsers(handle)) return handle >> kIndexBits;
  refuse(err(HI_ID_VB, ILLEGAL_PARAM), "block 0x%X does not exist", handle);
  return VB_INVALID_POOLID;
}

HI_S32 HI_MPI_VB_SetModPoolConf(VB_UID_E uid, const VB_CONF_S* conf) {
  if (HI_S32 bad = badUid(uid)) return bad;
  if (!conf) return refuse(err(HI_ID_VB, NULL_PTR), "no configuration given (null pointer)");
  ModuleConf& m = g_vb.modules[uid];
  if (m.initialised) return refuse(err(HI_ID_VB, NOT_PERM), "the module's pools exist: configure them before InitModCommPool");
  if (conf->u32MaxPoolCnt == 0 || conf->u32MaxPoolCnt > VB_MAX_MOD_COMM_POOLS)
    return refuse(err(HI_ID_VB, ILLEGAL_PARAM), "u32MaxPoolCnt %u outside [1, %u]", conf->u32MaxPoolCnt,
                  VB_MAX_MOD_COMM_POOLS);
  m.conf = *conf;
  m.configured = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_GetModPoolConf(VB_UID_E uid, VB_CONF_S* conf) {
  if (HI_S32 bad = badUid(uid)) return bad;
  if (!conf) return refuse(err(HI_ID_VB, NULL_PTR), "nowhere to write the configuration (null pointer)");
  if (!g_vb.modules[uid].configured)
    return refuse(err(HI_ID_VB, NOT_PERM), "the pools of user %d were never configured (SetModPoolConf)", uid);
  *conf = g_vb.modules[uid].conf;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_InitModCommPool(VB_UID_E uid) {
  if (HI_S32 bad = badUid(uid)) return bad;
  if (!started(kSys)) return refuse(err(HI_ID_VB, SYS_NOTREADY), "the system is not initialised (SYS.Init)");
  ModuleConf& m = g_vb.modules[uid];
  if (!m.configured)
    return refuse(err(HI_ID_VB, NOT_PERM), "the pools of user %d were never configured (SetModPoolConf)", uid);
  if (m.initialised) return HI_SUCCESS;
  if (!makePools(m.conf, Owner::Module, uid)) return err(HI_ID_VB, NOMEM);  // makePool said why
  m.initialised = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VB_ExitModCommPool(VB_UID_E uid) {
  if (HI_S32 bad = badUid(uid)) return bad;
  dropPools(Owner::Module, uid);
  g_vb.modules[uid].initialised = false;
  return HI_SUCCESS;
}

}  // namespace h
bool picture_block_fits(std::size_t bytes) {
  for (const auto& p : g_vb.pools)
    if (p.second.owner != Owner::Private && p.second.blkSize >= bytes) return true;
  return false;
}

}  // namespace sim
