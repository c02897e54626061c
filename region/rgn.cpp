// Module class RGN; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class RGN {};

void RGN_Register(lua_State* L) { beginClass<RGN>(L, "RGN"); }

}  // namespace Tessel
