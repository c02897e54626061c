// Module class VB and the private pool class Pool.
#include "sys/vb.h"

#include <cstring>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/errors.h"
#include "frame/modules.h"
#include "sys/id_table.h"

namespace Tessel {

namespace {

const IdName kUsers[] = {
    {0, "VIU"},    {1, "VOU"},    {2, "VGS"},   {3, "VENC"},   {4, "VDEC"},  {5, "VDA"},
    {6, "H264E"},  {7, "JPEGE"},  {8, "MPEG4E"}, {9, "H264D"},  {10, "JPEGD"}, {11, "MPEG4D"},
    {12, "VPSS"},  {13, "GRP"},   {14, "MPI"},  {15, "PCIV"},  {16, "AI"},   {17, "AENC"},
    {18, "RC"},    {19, "VFMW"},  {20, "USER"}, {21, "H265E"}, {22, nullptr},
};

// What a failing pool configuration (maximum pool count at countIdx, pool
// sequence at countIdx + 1) reports.
struct ConfTexts {
  const char* countNotNumber;
  const char* countBelowOne;
  const char* poolsNotTable;
  const char* badPool;
};

const ConfTexts kCommonConf = {"Invalid arguments", "Max pool count is <= 0",
                               "Invalid pool block configures", "Invalid pool configures"};
const ConfTexts kModuleConf = {"Invalid max pool count", "Invalid max pool count",
                               "Invalid block configure items", "Invalid block configure items"};

// Reads a pool configuration into *conf; answers null or the failure text.
const char* readPoolConf(lua_State* L, int countIdx, const ConfTexts& texts, VB_CONF_S* conf) {
  if (lua_type(L, countIdx) != LUA_TNUMBER) return texts.countNotNumber;
  lua_Integer maxPools = toInteger(L, countIdx);
  if (maxPools < 1) return texts.countBelowOne;
  if (lua_type(L, countIdx + 1) != LUA_TTABLE) return texts.poolsNotTable;
  LuaRef pools(L, countIdx + 1);
  if (!Init_VB_CONF_S(conf, pools)) return texts.badPool;
  conf->u32MaxPoolCnt = static_cast<HI_U32>(maxPools);
  return nullptr;
}

// Pushes the pools in use (block size and count both non-zero) as a sequence,
// then the maximum pool count.
int pushPoolConf(lua_State* L, const VB_CONF_S& conf) {
  lua_newtable(L);
  lua_Integer n = 0;
  for (const auto& pool : conf.astCommPool) {
    if (pool.u32BlkSize == 0 || pool.u32BlkCnt == 0) continue;
    lua_createtable(L, 0, 3);
    lua_pushinteger(L, pool.u32BlkSize);
    lua_setfield(L, -2, "u32BlkSize");
    lua_pushinteger(L, pool.u32BlkCnt);
    lua_setfield(L, -2, "u32BlkCnt");
    // The platform's name field need not end in a zero.
    size_t len = strnlen(pool.acMmzName, sizeof pool.acMmzName);
    if (len != 0) {
      lua_pushlstring(L, pool.acMmzName, len);
      lua_setfield(L, -2, "acMmzName");
    }
    lua_rawseti(L, -2, ++n);
  }
  lua_pushinteger(L, conf.u32MaxPoolCnt);
  return 2;
}

// InitModCommPool and ExitModCommPool: the user at 1.
int switchModulePools(lua_State* L, const char* func, const char* failText, HI_S32 (*call)(VB_UID_E)) {
  int uid = 0;
  if (!idArg(L, 1, kUsers, &uid))
    return pushFailure(L, "Invalid UserID or UserID name specified", func, __LINE__);
  return pushStatus(L, call(static_cast<VB_UID_E>(uid)), failText, func, __LINE__);
}

}  // namespace

bool Init_VB_CONF_S(VB_CONF_S* conf, LuaRef& pools) {
  lua_State* L = pools.state();
  std::memset(conf, 0, sizeof *conf);
  int i = 0;
  for (auto& pool : conf->astCommPool) {
    int type = lua_geti(L, pools.index(), ++i);
    if (type == LUA_TNIL) {
      lua_pop(L, 1);
      return true;
    }
    if (type != LUA_TTABLE) {
      lua_pop(L, 1);
      TESSEL_DIAG("Invalid pool block configure item");
      return false;
    }
    int entry = lua_gettop(L);
    lua_Integer size = 0, count = 0;
    if (!getInteger(L, entry, "u32BlkSize", &size) || !getInteger(L, entry, "u32BlkCnt", &count)) {
      lua_pop(L, 1);
      TESSEL_DIAG("Invalid block size/count int configure item");
      return false;
    }
    pool.u32BlkSize = static_cast<HI_U32>(size);
    pool.u32BlkCnt = static_cast<HI_U32>(count);
    if (lua_getfield(L, entry, "acMmzName") == LUA_TSTRING)
      std::strncpy(pool.acMmzName, lua_tostring(L, -1), sizeof pool.acMmzName);
    lua_pop(L, 2);
  }
  return true;
}

void Pool::Destroy() {
  if (!m_created) return;
  m_created = false;
  HI_MPI_VB_DestroyPool(m_poolId);
}

int Pool::Mmap() { return HI_MPI_VB_MmapPool(m_poolId); }

int Pool::Munmap() { return HI_MPI_VB_MunmapPool(m_poolId); }

const char* VB::UID2Name(int uid) { return idToName(kUsers, uid); }

int VB::Name2UID(const char* name) { return nameToId(kUsers, name); }

int VB::Config(lua_State* L) {
  VB_CONF_S conf;
  if (const char* bad = readPoolConf(L, 1, kCommonConf, &conf)) return TESSEL_FAIL(L, bad);
  // A platform refusal is answered with its status, like Init and Exit.
  lua_pushinteger(L, HI_MPI_VB_SetConf(&conf));
  return 1;
}

int VB::GetConfig(lua_State* L) {
  VB_CONF_S conf;
  std::memset(&conf, 0, sizeof conf);
  if (HI_MPI_VB_GetConf(&conf) != HI_SUCCESS) {
    lua_pushnil(L);
    return 1;
  }
  return pushPoolConf(L, conf);
}

int VB::Init() { return HI_MPI_VB_Init(); }

int VB::Exit() { return HI_MPI_VB_Exit(); }

RefCountedObjectPtr<Pool> VB::CreatePool(unsigned int blkSize, unsigned int blkCnt, lua_State* L) {
  if (blkSize == 0 || blkCnt == 0) {
    TESSEL_DIAG("Invalid blkSize/blkCnt while creating pool!");
    return nullptr;
  }
  const char* zone = luaL_optstring(L, 3, nullptr);  // none: the default zone
  VB_POOL id = HI_MPI_VB_CreatePool(blkSize, blkCnt, zone);
  if (id == VB_INVALID_POOLID) {
    TESSEL_DIAG("Create pool fail: Get invalid pool id");
    return nullptr;
  }
  return RefCountedObjectPtr<Pool>(new Pool(id, true));
}

int VB::DestroyPool(int id) { return HI_MPI_VB_DestroyPool(static_cast<VB_POOL>(id)); }

int VB::InitModCommPool(lua_State* L) {
  return switchModulePools(L, __func__, "Init module common pool fail", &HI_MPI_VB_InitModCommPool);
}

int VB::ExitModCommPool(lua_State* L) {
  return switchModulePools(L, __func__, "Exit module common pool fail", &HI_MPI_VB_ExitModCommPool);
}

int VB::SetModPoolConf(lua_State* L) {
  int uid = 0;
  if (!idArg(L, 1, kUsers, &uid)) return TESSEL_FAIL(L, "Invalid UID/UID name specified");
  VB_CONF_S conf;
  if (const char* bad = readPoolConf(L, 2, kModuleConf, &conf)) return TESSEL_FAIL(L, bad);
  HI_S32 rc = HI_MPI_VB_SetModPoolConf(static_cast<VB_UID_E>(uid), &conf);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to set module pool configure", rc);
  return pushSuccess(L);
}

int VB::GetModPoolConf(lua_State* L) {
  int uid = 0;
  if (!idArg(L, 1, kUsers, &uid)) return TESSEL_FAIL(L, "Invalid UID/UID name specified");
  VB_CONF_S conf;
  std::memset(&conf, 0, sizeof conf);
  HI_S32 rc = HI_MPI_VB_GetModPoolConf(static_cast<VB_UID_E>(uid), &conf);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get module pool configure", rc);
  return pushPoolConf(L, conf);
}

void VB_Register(lua_State* L) {
  beginClass<Pool>(L, "Pool")
      .addFunction<&Pool::Destroy>("Destroy")
      .addFunction<&Pool::Mmap>("Mmap")
      .addFunction<&Pool::Munmap>("Munmap")
      .addProperty<&Pool::get_ID>("ID");
  beginClass<VB>(L, "VB")
      .addStaticFunction<&VB::UID2Name>("UID2Name")
      .addStaticFunction<&VB::Name2UID>("Name2UID")
      .addStaticCFunction("Config", &VB::Config)
      .addStaticCFunction("GetConfig", &VB::GetConfig)
      .addStaticFunction<&VB::Init>("Init")
      .addStaticFunction<&VB::Exit>("Exit")
      .addStaticFunction<&VB::CreatePool>("CreatePool")
      .addStaticFunction<&VB::DestroyPool>("DestroyPool")
      .addStaticCFunction("InitModCommPool", &VB::InitModCommPool)
      .addStaticCFunction("ExitModCommPool", &VB::ExitModCommPool)
      .addStaticCFunction("SetModPoolConf", &VB::SetModPoolConf)
      .addStaticCFunction("GetModPoolConf", &VB::GetModPoolConf)
      .addStaticProperty<&VB::get_MAX_COMM_POOLS>("MAX_COMM_POOLS")
      .addStaticProperty<&VB::get_MAX_MOD_COMM_POOLS>("MAX_MOD_COMM_POOLS")
      .addStaticProperty<&VB::get_MAX_POOLS>("MAX_POOLS")
      .addStaticProperty<&VB::get_MAX_USER>("MAX_USER");
}

}  // namespace Tessel
