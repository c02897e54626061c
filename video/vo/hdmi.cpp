// Module class HDMI; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class HDMI {};

void HDMI_Register(lua_State* L) { beginClass<HDMI>(L, "HDMI"); }

}  // namespace Tessel
