// Built into tessel.so only where FreeType was not found, so tessel.osd was
// not built: Lua, finding no tessel/osd.so, looks for the module inside
// tessel.so and gets this reason instead of a list of paths.
#include <lua.hpp>

extern "C" __attribute__((visibility("default"))) int luaopen_tessel_osd(lua_State* L) {
  return luaL_error(L, "tessel.osd is not available: tessel was built without FreeType (Debian: libfreetype-dev)");
}
