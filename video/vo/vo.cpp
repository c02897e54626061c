// Module class VO; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VO {};

void VO_Register(lua_State* L) { beginClass<VO>(L, "VO"); }

}  // namespace Tessel
