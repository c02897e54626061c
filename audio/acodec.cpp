// Module class ACODEC; its operations are added as the module is built.
#include "frame/binding.h"
#include "frame/modules.h"

namespace Tessel {

class ACODEC {};

void ACODEC_Register(lua_State* L) { beginClass<ACODEC>(L, "ACODEC"); }

}  // namespace Tessel
