// Module class AO; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class AO {};

void AO_Register(lua_State* L) { beginClass<AO>(L, "AO"); }

}  // namespace Tessel
