// Module class AI; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class AI {};

void AI_Register(lua_State* L) { beginClass<AI>(L, "AI"); }

}  // namespace Tessel
