// Module class VB: the common video buffer pools shared by all modules, the
// per-module common pools, and private pools (class Pool).
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/convert.h"
#include "frame/ref_counted.h"

namespace Tessel {

// One private buffer pool. It destroys the platform pool only when it created
// it, either on Destroy() or when the last reference goes.
class Pool : public RefCountedObjectType<int> {
 public:
  Pool(VB_POOL id, bool created) : m_poolId(id), m_created(created) {}
  ~Pool() override { Destroy(); }

  void Destroy();
  int Mmap();
  int Munmap();

  unsigned int get_ID() const { return m_poolId; }

 private:
  VB_POOL m_poolId;
  bool m_created;
};

class VB {
 public:
  static int get_MAX_COMM_POOLS() { return 16; }
  static int get_MAX_MOD_COMM_POOLS() { return 16; }
  static int get_MAX_POOLS() { return 256; }
  static int get_MAX_USER() { return 22; }

  // Buffer users and their names; 22 is the end value.
  static const char* UID2Name(int uid);
  static int Name2UID(const char* name);

  static int Config(lua_State* L);
  static int GetConfig(lua_State* L);
  static int Init();
  static int Exit();

  static RefCountedObjectPtr<Pool> CreatePool(unsigned int blkSize, unsigned int blkCnt, lua_State* L);
  static int DestroyPool(int id);

  static int InitModCommPool(lua_State* L);
  static int ExitModCommPool(lua_State* L);
  static int SetModPoolConf(lua_State* L);
  static int GetModPoolConf(lua_State* L);
};

// Fills *conf (zeroed first) from a sequence of at most 16 pool entries
// { u32BlkSize = n, u32BlkCnt = n, acMmzName = name }; elements after the
// 16th are ignored. On a malformed entry writes a diagnostic line and
// answers false. The maximum pool count is left zero.
bool Init_VB_CONF_S(VB_CONF_S* conf, LuaRef& pools);

}  // namespace Tessel
