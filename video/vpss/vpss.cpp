// Module class VPSS; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VPSS {};

void VPSS_Register(lua_State* L) { beginClass<VPSS>(L, "VPSS"); }

}  // namespace Tessel
