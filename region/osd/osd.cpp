// tessel.osd: options read from Lua into plain structures (any Lua error is
// raised there, before FreeType is touched), fonts kept in userdata whose
// __gc frees FreeType's objects, and the pixels written straight into a Lua
// buffer, so no C++ object that owns memory is ever on the stack when Lua
// can raise.
#include "region/osd/osd.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <strings.h>

#include "region/osd/text_render.h"

namespace TesselOsd {
namespace {

constexpr const char* kFontType = "tessel.osd.Font";
constexpr const char* kDefaultFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr int kDefaultSize = 24;
constexpr int kMaxSize = 1024;
constexpr int kMaxOutline = 32;
constexpr int kMaxPadding = 256;
constexpr int kMaxSide = 8192;
constexpr int kCachedFonts = 8;

struct Options {
  Style style;
  int size = kDefaultSize;
  char problem[96] = "";  // the first value out of range
};

int fail(lua_State* L, const char* message) {
  lua_pushnil(L);
  lua_pushstring(L, message);
  return 2;
}

// options[key] as an integer, when present; another type raises.
bool intOption(lua_State* L, int t, const char* key, lua_Integer* v) {
  const int type = lua_getfield(L, t, key);
  if (type == LUA_TNIL) {
    lua_pop(L, 1);
    return false;
  }
  int exact = 0;
  *v = lua_tointegerx(L, -1, &exact);
  if (type != LUA_TNUMBER || !exact)
    luaL_error(L, "bad option '%s' (integer expected, got %s)", key,
               type == LUA_TNUMBER ? "a number without an integer value" : luaL_typename(L, -1));
  lua_pop(L, 1);
  return true;
}

bool inRange(Options* o, const char* key, lua_Integer v, lua_Integer low, lua_Integer high) {
  if (v >= low && v <= high) return true;
  if (!o->problem[0]) std::snprintf(o->problem, sizeof o->problem, "Invalid %s %lld", key, static_cast<long long>(v));
  return false;
}

// A colour option: 0xRRGGBB is opaque, 0xAARRGGBB carries its alpha.
bool colorOption(lua_State* L, int t, const char* key, Options* o, std::uint8_t* rgb, std::uint8_t* alpha) {
  lua_Integer v;
  if (!intOption(L, t, key, &v) || !inRange(o, key, v, 0, 0xFFFFFFFF)) return false;
  rgb[0] = static_cast<std::uint8_t>(v >> 16), rgb[1] = static_cast<std::uint8_t>(v >> 8);
  rgb[2] = static_cast<std::uint8_t>(v);
  *alpha = v > 0xFFFFFF ? static_cast<std::uint8_t>(v >> 24) : 255;
  return true;
}

// Reads the options at `idx` (nil or a table) and pushes the `font` option
// (a string, or nil; always nil when `fontAndSize` is false).
void readOptions(lua_State* L, int idx, Options* o, bool fontAndSize) {
  if (lua_isnoneornil(L, idx)) {
    lua_pushnil(L);
    return;
  }
  luaL_checktype(L, idx, LUA_TTABLE);
  const int t = lua_absindex(L, idx);
  Style& s = o->style;
  lua_Integer v;
  if (fontAndSize && intOption(L, t, "size", &v) && inRange(o, "size", v, 1, kMaxSize)) o->size = static_cast<int>(v);
  colorOption(L, t, "color", o, s.textRgb, &s.textAlpha);
  colorOption(L, t, "background", o, s.backRgb, &s.backAlpha);
  if (intOption(L, t, "backgroundAlpha", &v) && inRange(o, "backgroundAlpha", v, 0, 255))
    s.backAlpha = static_cast<std::uint8_t>(v);
  if (intOption(L, t, "outline", &v) && inRange(o, "outline", v, 0, kMaxOutline)) s.outline = static_cast<int>(v);
  colorOption(L, t, "outlineColor", o, s.outlineRgb, &s.outlineAlpha);
  if (intOption(L, t, "padding", &v) && inRange(o, "padding", v, 0, kMaxPadding)) s.padding = static_cast<int>(v);

  const int format = lua_getfield(L, t, "format");
  if (format == LUA_TSTRING) {
    const char* name = lua_tostring(L, -1);
    if (!strcasecmp(name, "RGB_8888")) {
      s.argb8888 = true;
    } else if (strcasecmp(name, "RGB_1555") && !o->problem[0]) {
      std::snprintf(o->problem, sizeof o->problem, "Invalid format %.64s", name);
    }
  } else if (format != LUA_TNIL) {
    luaL_error(L, "bad option 'format' (string expected, got %s)", luaL_typename(L, -1));
  }
  lua_pop(L, 1);

  if (!fontAndSize) {
    lua_pushnil(L);
    return;
  }
  const int font = lua_getfield(L, t, "font");
  if (font != LUA_TSTRING && font != LUA_TNIL)
    luaL_error(L, "bad option 'font' (string expected, got %s)", luaL_typename(L, -1));
}

// Pushes a font opened at `path` and `size` and returns it, or pushes nil
// and a message and returns nullptr. The userdata owns FreeType's objects
// from the moment it has its metatable.
Font* pushFont(lua_State* L, const char* path, int size) {
  Font* font = new (lua_newuserdata(L, sizeof(Font))) Font();
  luaL_setmetatable(L, kFontType);
  const FT_Error err = font->open(path, size);
  if (!err) return font;
  lua_pop(L, 1);
  char reason[96];
  if (std::FILE* f = std::fopen(path, "rb")) {
    std::fclose(f);
    if (const char* text = errorText(err)) std::snprintf(reason, sizeof reason, "%s", text);
    else std::snprintf(reason, sizeof reason, "FreeType error %d", err);
  } else {
    std::snprintf(reason, sizeof reason, "%s", std::strerror(errno));
  }
  lua_pushnil(L);
  lua_pushfstring(L, "Cannot open font %s: %s", path, reason);
  return nullptr;
}

// The module's font for a path and size from the cache in upvalue 1
// (opened and kept when missing; the cache starts again past
// kCachedFonts); pushes it, or nil and a message.
Font* cachedFont(lua_State* L, const char* path, int size) {
  const int cache = lua_upvalueindex(1);
  lua_pushfstring(L, "%d:%s", size, path);
  if (lua_rawget(L, cache) == LUA_TUSERDATA) return static_cast<Font*>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  Font* font = pushFont(L, path, size);
  if (!font) return nullptr;
  int count = 0;
  lua_pushnil(L);
  while (lua_next(L, cache)) {
    lua_pop(L, 1);
    ++count;
  }
  if (count >= kCachedFonts) {
    lua_pushnil(L);
    while (lua_next(L, cache)) {
      lua_pop(L, 1);
      lua_pushvalue(L, -1);
      lua_pushnil(L);
      lua_rawset(L, cache);
    }
  }
  lua_pushfstring(L, "%d:%s", size, path);
  lua_pushvalue(L, -2);
  lua_rawset(L, cache);
  return font;
}

// The bitmap table of a text, or its width and height when `draw` is false.
int produce(lua_State* L, Font* font, const char* text, std::size_t length, const Options& o, bool drawIt) {
  const Box box = measure(*font, text, length, o.style);
  if (box.width > kMaxSide || box.height > kMaxSide) {
    lua_pushnil(L);
    lua_pushfstring(L, "Text of %d x %d pixels is larger than %d x %d", box.width, box.height, kMaxSide, kMaxSide);
    return 2;
  }
  if (!drawIt) {
    lua_pushinteger(L, box.width);
    lua_pushinteger(L, box.height);
    return 2;
  }
  const std::size_t count = static_cast<std::size_t>(box.width) * box.height;
  const std::size_t bytes = count * (o.style.argb8888 ? 4 : 2);
  auto* coverage = static_cast<std::uint8_t*>(lua_newuserdata(L, count * (o.style.outline ? 2 : 1)));
  luaL_Buffer b;
  auto* out = reinterpret_cast<std::uint8_t*>(luaL_buffinitsize(L, &b, bytes));
  draw(*font, text, length, o.style, box, coverage, coverage + (o.style.outline ? count : 0), out);
  luaL_pushresultsize(&b, bytes);
  lua_createtable(L, 0, 4);
  lua_pushstring(L, o.style.argb8888 ? "RGB_8888" : "RGB_1555");
  lua_setfield(L, -2, "enPixelFormat");
  lua_pushinteger(L, box.width);
  lua_setfield(L, -2, "u32Width");
  lua_pushinteger(L, box.height);
  lua_setfield(L, -2, "u32Height");
  lua_insert(L, -2);
  lua_setfield(L, -2, "data");
  return 1;
}

// osd.render and osd.measure: text, options (font and size read).
int withModuleFont(lua_State* L, bool drawIt) {
  std::size_t length = 0;
  const char* text = luaL_checklstring(L, 1, &length);
  Options o;
  readOptions(L, 2, &o, true);
  if (o.problem[0]) return fail(L, o.problem);
  const char* path = lua_isnil(L, -1) ? kDefaultFont : lua_tostring(L, -1);
  Font* font = cachedFont(L, path, o.size);
  if (!font) return 2;
  return produce(L, font, text, length, o, drawIt);
}

// Font:render and Font:measure: self, text, options (font and size not read).
int withOwnFont(lua_State* L, bool drawIt) {
  Font* font = static_cast<Font*>(luaL_checkudata(L, 1, kFontType));
  std::size_t length = 0;
  const char* text = luaL_checklstring(L, 2, &length);
  Options o;
  readOptions(L, 3, &o, false);
  if (o.problem[0]) return fail(L, o.problem);
  if (!font->isOpen()) return fail(L, "Font is closed");
  return produce(L, font, text, length, o, drawIt);
}

// Frees FreeType's objects; the emptied Font owns nothing more, so a
// userdata touched again after collection finds it closed.
int fontGc(lua_State* L) {
  static_cast<Font*>(luaL_checkudata(L, 1, kFontType))->close();
  return 0;
}

}  // namespace

int Module::render(lua_State* L) { return withModuleFont(L, true); }
int Module::measure(lua_State* L) { return withModuleFont(L, false); }

int Module::font(lua_State* L) {
  const char* path = luaL_optstring(L, 1, kDefaultFont);
  const lua_Integer size = luaL_optinteger(L, 2, kDefaultSize);
  if (size < 1 || size > kMaxSize) {
    lua_pushnil(L);
    lua_pushfstring(L, "Invalid size %I", size);
    return 2;
  }
  return pushFont(L, path, static_cast<int>(size)) ? 1 : 2;
}

int FontObject::render(lua_State* L) { return withOwnFont(L, true); }
int FontObject::measure(lua_State* L) { return withOwnFont(L, false); }

}  // namespace TesselOsd

extern "C" int luaopen_tessel_osd(lua_State* L) {
  using namespace TesselOsd;
  if (luaL_newmetatable(L, kFontType)) {
    const luaL_Reg meta[] = {{"__gc", fontGc}, {nullptr, nullptr}};
    const luaL_Reg methods[] = {{"render", FontObject::render}, {"measure", FontObject::measure}, {nullptr, nullptr}};
    luaL_setfuncs(L, meta, 0);
    luaL_newlib(L, methods);
    lua_setfield(L, -2, "__index");
  }
  lua_pop(L, 1);

  const luaL_Reg functions[] = {
      {"render", Module::render}, {"measure", Module::measure}, {"font", Module::font}, {nullptr, nullptr}};
  luaL_newlibtable(L, functions);
  lua_newtable(L);  // the fonts of render and measure
  luaL_setfuncs(L, functions, 1);
  lua_pushstring(L, kDefaultFont);
  lua_setfield(L, -2, "defaultFont");
  return 1;
}
