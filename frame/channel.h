// Identity of a platform channel: (module, device, channel), the address by
// which the platform binds one channel to another. Every channel class of the
// module derives from Channel and is registered in Lua under "MPPChannel".
#pragma once

#include <lua.hpp>

#include "frame/binding.h"

namespace Tessel {

class Channel {
 public:
  Channel(int modId, int devId, int chnId) : m_modId(modId), m_devId(devId), m_chnId(chnId) {}
  virtual ~Channel() {}

  int get_ID() const { return m_chnId; }
  int get_DID() const { return m_devId; }
  int get_MODID() const { return m_modId; }

 protected:
  int m_modId;
  int m_devId;
  int m_chnId;
};

// Registers "MPPChannel" with its properties "ID", "DID" and "MODID"; must run
// before any channel class is registered.
void registerChannelBase(lua_State* L);

}  // namespace Tessel
