// Module class VI; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VI {};

void VI_Register(lua_State* L) { beginClass<VI>(L, "VI"); }

}  // namespace Tessel
