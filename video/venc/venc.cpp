// Module class VENC; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VENC {};

void VENC_Register(lua_State* L) { beginClass<VENC>(L, "VENC"); }

}  // namespace Tessel
