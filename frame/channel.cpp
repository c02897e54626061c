#include "frame/channel.h"

namespace Tessel {

void registerChannelBase(lua_State* L) {
  beginClass<Channel>(L, "MPPChannel")
      .addProperty<&Channel::get_ID>("ID")
      .addProperty<&Channel::get_DID>("DID")
      .addProperty<&Channel::get_MODID>("MODID");
}

}  // namespace Tessel
