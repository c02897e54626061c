// Module class SYS: start and stop of the media platform, its version, the
// binding of one channel's output to another channel's input, the memory zone
// of a channel and the platform time base (PTS).
#pragma once

#include <lua.hpp>

#include "frame/channel.h"

namespace Tessel {

class SYS {
 public:
  // Module identifiers and their names; 52 is the end value.
  static int Name2MODID(const char* name);
  static const char* MODID2Name(int id);

  static int Init();
  static int Exit();
  static int GetVersion(lua_State* L);

  static int SetMemConf(Channel* chn, lua_State* L);
  static int SetMemConfByID(int modId, int devId, int chnId, lua_State* L);
  static int GetMemConf(lua_State* L);

  static int Bind(lua_State* L);
  static int UnBind(lua_State* L);
  static int GetBind(lua_State* L);

  static int CloseFd();

  static int InitPtsBase(lua_State* L);
  static int SyncPts(lua_State* L);
  static int GetCurrentPts(lua_State* L);
};

}  // namespace Tessel
