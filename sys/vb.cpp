// Module class VB; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VB {};

void VB_Register(lua_State* L) { beginClass<VB>(L, "VB"); }

}  // namespace Tessel
