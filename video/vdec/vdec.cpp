// Module class VDEC; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class VDEC {};

void VDEC_Register(lua_State* L) { beginClass<VDEC>(L, "VDEC"); }

}  // namespace Tessel
