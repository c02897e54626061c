// Module class VB: the common video buffer pools shared by all modules, the
// per-module common pools, and private pools (class Pool).
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/convert.h"
#include "frame/ref_counted.h"

/***
Video buffer pools: `Tessel.VB` lays out the common pools, the per-module common pools and the
private pools (`Pool`).

The common pools are configured and initialised before the system starts:
`Tessel.VB.Config(maxPoolCount, pools)`, `Tessel.VB.Init()`, then `Tessel.SYS.Init()`. A pool
sequence holds up to 16 entries `{u32BlkSize = bytes, u32BlkCnt = blocks, acMmzName = zone}`
(`acMmzName` optional, at most 16 bytes); the first `nil` ends it and entries after the 16th are
ignored. Buffer users are named as in the platform's table ("VIU", "VOU", "VENC", "VDEC", "VPSS",
"H264E", "JPEGE", "H265E", "USER", ...), case-sensitively, or given by number.
@module vb
*/
namespace Tessel {

/***
One private buffer pool, made by `Tessel.VB.CreatePool`.

Ownership: **when Lua collects the object the pool is destroyed** (`HI_MPI_VB_DestroyPool`),
unless `Destroy` ran first. Keep the object for as long as the pool is wanted.
@type Pool
*/
class Pool : public RefCountedObjectType<int> {
 public:
  Pool(VB_POOL id, bool created) : m_poolId(id), m_created(created) {}
  ~Pool() override { Destroy(); }

  /*** Destroys the pool (`HI_MPI_VB_DestroyPool`) the first time it is called; later calls, and
  the collection of the object, do nothing.
  @function Destroy
  @return nothing: a refusal of the platform is not reported
  */
  void Destroy();
  /*** Maps the pool into the process (`HI_MPI_VB_MmapPool`).
  @function Mmap
  @treturn int 0 or the platform's error code
  */
  int Mmap();
  /*** Unmaps the pool (`HI_MPI_VB_MunmapPool`).
  @function Munmap
  @treturn int 0 or the platform's error code
  */
  int Munmap();

  /*** The platform's pool id, to give to `AttachVbPool` of encoder and decoder channels.
  @tfield int ID
  */
  unsigned int get_ID() const { return m_poolId; }

 private:
  VB_POOL m_poolId;
  bool m_created;
};

/***
The module class `Tessel.VB`: pool configuration, private pools and the platform's limits.

Mind the results: `Config`, `Init`, `Exit` and `DestroyPool` **return the platform's status** (0
for success, a negative code otherwise), while the module-pool functions return `true` or `nil` and
a message.
@type VB
*/
class VB {
 public:
  /*** The number of common pools: 16.
  @tfield int MAX_COMM_POOLS
  */
  static int get_MAX_COMM_POOLS() { return 16; }
  /*** The number of common pools of one module: 16.
  @tfield int MAX_MOD_COMM_POOLS
  */
  static int get_MAX_MOD_COMM_POOLS() { return 16; }
  /*** The number of pools of the platform: 256.
  @tfield int MAX_POOLS
  */
  static int get_MAX_POOLS() { return 256; }
  /*** The number of buffer users: 22, also the number `Name2UID` gives for an unknown name.
  @tfield int MAX_USER
  */
  static int get_MAX_USER() { return 22; }

  /*** The name of a buffer user number.
  @function UID2Name
  @static
  @int uid user number
  @treturn string the name (0 is "VIU", 3 "VENC"); "invalid" for a number without one, 22 included
  */
  static const char* UID2Name(int uid);
  /*** The number of a buffer user name (case-sensitive).
  @function Name2UID
  @static
  @string name a name such as "VIU", "VENC", "VPSS"
  @treturn int the user number; 22 for a name the table does not hold
  */
  static int Name2UID(const char* name);

  /*** Lays out the common pools (`HI_MPI_VB_SetConf`), before `Init`.
  @function Config
  @static
  @int maxPoolCount the maximum number of pools, at least 1
  @tparam table pools sequence of `{u32BlkSize = n, u32BlkCnt = n, acMmzName = zone}`
  @treturn int|nil `0` or the platform's error code (**a number, not true**); or `nil` and
  "Invalid arguments" (the count is no number), "Max pool count is <= 0",
  "Invalid pool block configures" (the pools are no table), or "Invalid pool configures" (an entry
  is no table or lacks a numeric size or count; the diagnostic "Invalid pool block configure item"
  or "Invalid block size/count int configure item" is written to standard error before)
  @usage assert(Tessel.VB.Config(4, {{u32BlkSize = 1920 * 1080 * 2, u32BlkCnt = 8}}) == 0)
  */
  static int Config(lua_State* L);
  /*** Reads the common pool layout (`HI_MPI_VB_GetConf`).
  @function GetConfig
  @static
  @treturn table the pools whose size and count are both non-zero, `acMmzName` only when named
  @treturn int the maximum pool count; a single `nil` is all the results when the call fails
  */
  static int GetConfig(lua_State* L);
  /*** Initialises the common pools (`HI_MPI_VB_Init`), after `Config` and before `SYS.Init`.
  @function Init
  @static
  @treturn int 0 or the platform's error code
  */
  static int Init();
  /*** Releases the common pools (`HI_MPI_VB_Exit`), after `SYS.Exit`.
  @function Exit
  @static
  @treturn int 0 or the platform's error code
  */
  static int Exit();

  /*** Creates a private pool (`HI_MPI_VB_CreatePool`); the object owns it.
  @function CreatePool
  @static
  @int blkSize bytes per block
  @int blkCnt number of blocks
  @string[opt] zone memory-zone name; none or `nil` for the default zone
  @treturn Pool the pool; `nil` with "Invalid blkSize/blkCnt while creating pool!" on standard
  error when size or count is 0 (or negative), or with "Create pool fail: Get invalid pool id" when
  the platform refused
  @usage local pool = Tessel.VB.CreatePool(1920 * 1080 * 2, 4)
  */
  static RefCountedObjectPtr<Pool> CreatePool(unsigned int blkSize, unsigned int blkCnt, lua_State* L);
  /*** Destroys any pool by its id (`HI_MPI_VB_DestroyPool`), without regard to objects.
  Beware: **the Pool object that created it still destroys that id when collected**, by then
  perhaps another pool's; for a pool of your own call `pool:Destroy()` instead.
  @function DestroyPool
  @static
  @int id pool id
  @treturn int 0 or the platform's error code
  */
  static int DestroyPool(int id);

  /*** Initialises the common pools of one module (`HI_MPI_VB_InitModCommPool`).
  @function InitModCommPool
  @static
  @tparam string|int user buffer user name or number
  @treturn bool|nil `true`, or `nil` and "Invalid UserID or UserID name specified" or
  "Init module common pool fail" with the code
  */
  static int InitModCommPool(lua_State* L);
  /*** Releases the common pools of one module (`HI_MPI_VB_ExitModCommPool`).
  @function ExitModCommPool
  @static
  @tparam string|int user buffer user name or number
  @treturn bool|nil `true`, or `nil` and "Invalid UserID or UserID name specified" or
  "Exit module common pool fail" with the code
  */
  static int ExitModCommPool(lua_State* L);
  /*** Lays out the common pools of one module (`HI_MPI_VB_SetModPoolConf`).
  @function SetModPoolConf
  @static
  @tparam string|int user buffer user name or number
  @int maxPoolCount at least 1
  @tparam table pools as for `Config`
  @treturn bool|nil `true`, or `nil` and "Invalid UID/UID name specified", "Invalid max pool count" (no
  number, or below 1), "Invalid block configure items" (no table, or a malformed entry, with a
  diagnostic on standard error), or "Fail to set module pool configure" with the code
  */
  static int SetModPoolConf(lua_State* L);
  /*** Reads the common pool layout of one module (`HI_MPI_VB_GetModPoolConf`).
  @function GetModPoolConf
  @static
  @tparam string|int user buffer user name or number
  @treturn table the pools in use, as `GetConfig` gives them
  @treturn int the maximum pool count; on failure the results are `nil` and
  "Invalid UID/UID name specified" or "Fail to get module pool configure" with the code
  */
  static int GetModPoolConf(lua_State* L);
};

// Fills *conf (zeroed first) from a sequence of at most 16 pool entries
// { u32BlkSize = n, u32BlkCnt = n, acMmzName = name }; elements after the
// 16th are ignored. On a malformed entry writes a diagnostic line and
// answers false. The maximum pool count is left zero.
bool Init_VB_CONF_S(VB_CONF_S* conf, LuaRef& pools);

}  // namespace Tessel
