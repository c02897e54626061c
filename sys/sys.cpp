// Module class SYS; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/modules.h"

namespace Tessel {

class SYS {};

void SYS_Register(lua_State* L) {
  registerChannelBase(L);
  beginClass<SYS>(L, "SYS");
}

}  // namespace Tessel
