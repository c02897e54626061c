// tessel.sim: control of the host simulator from Lua scripts.
//
// Lua errors longjmp through these functions (the interpreter is C), so no
// object with a destructor is alive while a Lua API call can raise: arguments
// are converted first, journal data is read by reference.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

#ifdef TESSEL_SIM_PNG
#include <png.h>
#endif

#include "display.h"
#include "media/audio.h"
#include "media/media.h"
#include "sim/sim.h"

/***
The host simulator's controls: `local sim = require "tessel.sim"` (host builds only). It starts
and resets the simulated platform, reads the journal of platform calls and the findings a board
would have punished, makes calls fail on purpose, draws the bindings, runs the media clock in
real or virtual time, and gives inputs their pictures or sound and outputs their screenshots or
recordings.
@module tessel.sim
*/

/***
One journaled platform call.
@table SimCall
@string name the platform function ("HI_MPI_VENC_CreateChn"; "open" and "ioctl" for the audio
codec's device)
@int n the number of arguments
@tab args the arguments, structures as tables
@param ret what the call answered (a status code, or a value)
@string[opt] reason why the simulator refused the call, when it did
*/

/***
Something a board would have punished although the call went through.
@table SimFinding
@string rule the rule's name
@string message what happened, in words
@string call the platform function that made it
@int index the number of that call in the journal
*/

namespace {

void push_value(lua_State* L, const sim::Value& v) {
    switch (v.kind) {
    case sim::Value::Nil: lua_pushnil(L); break;
    case sim::Value::Int: lua_pushinteger(L, (lua_Integer)v.i); break;
    case sim::Value::Real: lua_pushnumber(L, v.r); break;
    case sim::Value::Str: lua_pushlstring(L, v.s.data(), v.s.size()); break;
    case sim::Value::Ptr: lua_pushlightuserdata(L, const_cast<void*>(v.p)); break;
    case sim::Value::Table:
        lua_createtable(L, 0, (int)v.fields.size());
        for (const auto& f : v.fields) {
            push_value(L, f.second);
            lua_setfield(L, -2, f.first.c_str());
        }
        break;
    case sim::Value::Seq:
        lua_createtable(L, (int)v.items.size(), 0);
        for (size_t i = 0; i < v.items.size(); ++i) {
            push_value(L, v.items[i]);
            lua_rawseti(L, -2, (lua_Integer)i + 1);
        }
        break;
    }
}

/***
Resets the simulated platform to power-on: no objects, an empty journal, no findings, no
failures planned, the real clock at 0.
@function reset
*/
int l_reset(lua_State*) {
    sim::reset();
    return 0;
}

/***
Empties the journal (the platform keeps its state).
@function clear
*/
int l_clear(lua_State*) {
    sim::journal_clear();
    return 0;
}

/***
The journal: every platform call since the last reset or clear, oldest first.
@function calls
@treturn {SimCall,...}
*/
int l_calls(lua_State* L) {
    const size_t n = sim::journal_size();
    lua_createtable(L, (int)n, 0);
    for (size_t i = 0; i < n; ++i) {
        const sim::Entry& e = sim::journal_entry(i);
        lua_createtable(L, 0, 4);
        lua_pushlstring(L, e.name.data(), e.name.size());
        lua_setfield(L, -2, "name");
        lua_pushinteger(L, (lua_Integer)e.args.size());
        lua_setfield(L, -2, "n");
        lua_createtable(L, (int)e.args.size(), 0);
        for (size_t a = 0; a < e.args.size(); ++a) {
            push_value(L, e.args[a]);
            lua_rawseti(L, -2, (lua_Integer)a + 1);
        }
        lua_setfield(L, -2, "args");
        push_value(L, e.ret);
        lua_setfield(L, -2, "ret");
        if (!e.reason.empty()) {
            lua_pushlstring(L, e.reason.data(), e.reason.size());
            lua_setfield(L, -2, "reason");
        }
        lua_rawseti(L, -2, (lua_Integer)i + 1);
    }
    return 1;
}

/***
Reads, and may set, how the journal keeps calls.
@function journal
@tab[opt] settings `limit` (a count of entries; 0 keeps none) and `recording` (a boolean)
@treturn table `size`, `limit`, `dropped` (entries let go beyond the limit) and `recording`
*/
int l_journal(lua_State* L) {
    if (!lua_isnoneornil(L, 1)) {
        luaL_checktype(L, 1, LUA_TTABLE);
        lua_getfield(L, 1, "limit");
        if (!lua_isnil(L, -1)) {
            int exact = 0;
            const lua_Integer limit = lua_tointegerx(L, -1, &exact);
            luaL_argcheck(L, exact && limit >= 0, 1, "limit must be a count of entries");
            sim::journal_set_limit((size_t)limit);
        }
        lua_getfield(L, 1, "recording");
        if (!lua_isnil(L, -1)) {
            luaL_argcheck(L, lua_isboolean(L, -1), 1, "recording must be a boolean");
            sim::journal_set_recording(lua_toboolean(L, -1));
        }
        lua_pop(L, 2);
    }
    lua_createtable(L, 0, 4);
    lua_pushinteger(L, (lua_Integer)sim::journal_size());
    lua_setfield(L, -2, "size");
    lua_pushinteger(L, (lua_Integer)sim::journal_limit());
    lua_setfield(L, -2, "limit");
    lua_pushinteger(L, (lua_Integer)sim::journal_dropped());
    lua_setfield(L, -2, "dropped");
    lua_pushboolean(L, sim::journal_recording());
    lua_setfield(L, -2, "recording");
    return 1;
}

// Findings are read by reference, like journal entries.
void push_finding(lua_State* L, const sim::Finding& f) {
    lua_createtable(L, 0, 4);
    lua_pushlstring(L, f.rule.data(), f.rule.size());
    lua_setfield(L, -2, "rule");
    lua_pushlstring(L, f.call.data(), f.call.size());
    lua_setfield(L, -2, "call");
    lua_pushinteger(L, (lua_Integer)f.index);
    lua_setfield(L, -2, "index");
    lua_pushlstring(L, f.message.data(), f.message.size());
    lua_setfield(L, -2, "message");
}

/***
The findings since the last reset: objects or bindings left at exit, and other things a board
would have punished although every call went through.
@function check
@treturn {SimFinding,...}
*/
int l_check(lua_State* L) {
    const size_t n = sim::findings_kept();
    lua_createtable(L, (int)n, 0);
    for (size_t i = 0; i < n; ++i) {
        push_finding(L, sim::finding_kept(i));
        lua_rawseti(L, -2, (lua_Integer)i + 1);
    }
    return 1;
}

// Strict mode: a return hook notices a finding (or, when asked, a refusal)
// made by the call that just returned and raises it as a Lua error at the
// caller's line. The call has finished by then, so nothing of the
// platform's is left half done.
size_t g_seen = 0, g_refused = 0;
bool g_findings = false, g_refusals = false;

// The latest finding, and how many more the same call made.
size_t finding_message(char* buf, size_t cap, size_t more) {
    if (sim::findings_kept() == 0) return 0;
    const sim::Finding& f = sim::finding_kept(sim::findings_kept() - 1);
    std::string text = f.message + " (" + f.rule + ", " + f.call + " call #" + std::to_string(f.index) + ")";
    if (more) text += " (and " + std::to_string(more) + " more: sim.check())";
    size_t n = text.size() < cap ? text.size() : cap;
    std::memcpy(buf, text.data(), n);
    return n;
}

size_t refusal_message(char* buf, size_t cap) {
    const std::string text = "refused: " + sim::last_refusal();
    size_t n = text.size() < cap ? text.size() : cap;
    std::memcpy(buf, text.data(), n);
    return n;
}

void strict_hook(lua_State* L, lua_Debug*) {
    const size_t found = sim::findings_count(), refused = sim::refusals_count();
    char buf[768];
    size_t n = 0;
    if (g_findings && found != g_seen) {
        n = finding_message(buf, sizeof buf, found - g_seen - 1);
    } else if (g_refusals && refused != g_refused) {
        n = refusal_message(buf, sizeof buf);
    }
    g_seen = found;
    g_refused = refused;
    if (n == 0) return;
    luaL_where(L, 1);
    lua_pushlstring(L, buf, n);
    lua_concat(L, 2);
    lua_error(L);
}

/***
Strict mode: a finding (or, when asked, a refused call) raises a Lua error at the line of the
call that made it.
@function strict
@tparam boolean|table on `true` or `false` for findings only, or `{findings = (default true),
refusals = (default false)}`
*/
int l_strict(lua_State* L) {
    if (lua_istable(L, 1)) {
        lua_getfield(L, 1, "findings");
        lua_getfield(L, 1, "refusals");
        g_findings = lua_isnil(L, -2) ? true : lua_toboolean(L, -2);
        g_refusals = lua_toboolean(L, -1);
        lua_pop(L, 2);
    } else {
        g_findings = lua_toboolean(L, 1);
        g_refusals = false;
    }
    g_seen = sim::findings_count();
    g_refused = sim::refusals_count();
    const bool on = g_findings || g_refusals;
    lua_sethook(L, on ? strict_hook : nullptr, on ? LUA_MASKRET : 0, 0);
    return 0;
}

/***
Makes the next calls of a platform function answer a code of its own choosing.
@function fail
@string name the platform function ("HI_MPI_SYS_Init", "open", ...); an unknown name raises
@int code the 32-bit status to answer
@int[opt=1] times how many calls answer it
*/
int l_fail(lua_State* L) {
    const char* name = luaL_checkstring(L, 1);
    const lua_Integer code = luaL_checkinteger(L, 2);
    const lua_Integer times = luaL_optinteger(L, 3, 1);
    if (!sim::known_function(name))
        return luaL_error(L, "sim.fail: unknown platform function '%s'", name);
    luaL_argcheck(L, code >= -2147483648LL && code <= 0xFFFFFFFFLL, 2, "not a 32-bit status code");
    luaL_argcheck(L, times >= 1 && times <= 0x7FFFFFFF, 3, "must be a positive count");
    sim::fail(name, (HI_S32)(unsigned)code, (int)times);
    return 0;
}

// Copies the DOT text into buf (when it fits) and returns its length; the
// string lives only inside this frame, which no Lua error crosses.
size_t dot_text(char* buf, size_t cap) {
    const std::string s = sim::dot();
    if (buf && s.size() <= cap) std::memcpy(buf, s.data(), s.size());
    return s.size();
}

/***
The objects and bindings of the platform as a Graphviz DOT graph.
@function dot
@treturn string
*/
int l_dot(lua_State* L) {
    const size_t n = dot_text(nullptr, 0);
    char* buf = static_cast<char*>(lua_newuserdata(L, n + 1));
    const size_t m = dot_text(buf, n);
    lua_pushlstring(L, buf, m <= n ? m : 0);
    return 1;
}

/***
Reads, and may switch, the media clock: "real" follows the machine's clock and waits sleep;
"virtual" stands still until a wait moves it, at once, to the moment the wait ends.
@function clock
@string[opt] mode "real" or "virtual"
@treturn string the mode
*/
int l_clock(lua_State* L) {
    if (!lua_isnoneornil(L, 1)) {
        static const char* const modes[] = {"real", "virtual", nullptr};
        const int mode = luaL_checkoption(L, 1, nullptr, modes);
        sim::enter();
        sim::media::set_clock(mode == 1 ? sim::media::Clock::Virtual : sim::media::Clock::Real);
        sim::leave();
    }
    lua_pushstring(L, sim::media::clock() == sim::media::Clock::Virtual ? "virtual" : "real");
    return 1;
}

/***
Simulated time since the last reset.
@function now
@treturn number seconds
*/
int l_now(lua_State* L) {
    sim::enter();
    const double t = static_cast<double>(sim::media::now()) / 1e6;
    sim::leave();
    lua_pushnumber(L, t);
    return 1;
}

// A target: a channel object (its MODID, DID and ID) or {module, device,
// channel} with the module's name or number. False when it is neither.
bool target_of(lua_State* L, int idx, sim::Key* k) {
    static const struct {
        const char* name;
        int id;
    } kModules[] = {{"VIU", HI_ID_VIU}, {"VI", HI_ID_VIU},   {"VPSS", HI_ID_VPSS}, {"VENC", HI_ID_VENC},
                    {"VDEC", HI_ID_VDEC}, {"VOU", HI_ID_VOU}, {"VO", HI_ID_VOU},     {"AI", HI_ID_AI},
                    {"AO", HI_ID_AO},     {"AENC", HI_ID_AENC}, {"ADEC", HI_ID_ADEC}};
    int fields[3];
    if (lua_type(L, idx) == LUA_TUSERDATA) {
        const char* names[3] = {"MODID", "DID", "ID"};
        for (int i = 0; i < 3; ++i) {
            lua_getfield(L, idx, names[i]);
            int exact = 0;
            fields[i] = (int)lua_tointegerx(L, -1, &exact);
            lua_pop(L, 1);
            if (!exact) return false;
        }
    } else if (lua_type(L, idx) == LUA_TTABLE) {
        lua_rawgeti(L, idx, 1);
        fields[0] = -1;
        if (lua_type(L, -1) == LUA_TSTRING) {
            for (const auto& m : kModules)
                if (std::strcmp(lua_tostring(L, -1), m.name) == 0) fields[0] = m.id;
        } else if (lua_isinteger(L, -1)) {
            fields[0] = (int)lua_tointeger(L, -1);
        }
        lua_pop(L, 1);
        for (int i = 1; i < 3; ++i) {
            lua_rawgeti(L, idx, i + 1);
            int exact = 0;
            fields[i] = (int)lua_tointegerx(L, -1, &exact);
            lua_pop(L, 1);
            if (!exact) return false;
        }
        if (fields[0] < 0) return false;
    } else {
        return false;
    }
    *k = sim::Key{fields[0], fields[1], fields[2]};
    return true;
}

// Runs fn under the simulator's lock; copies the reason of a refusal into
// buf (a Lua error must not cross the std::string).
template <class Fn>
bool under_lock(Fn fn, char* buf, size_t cap) {
    std::string why;
    sim::enter();
    const bool ok = fn(&why);
    sim::leave();
    const size_t n = why.size() < cap - 1 ? why.size() : cap - 1;
    std::memcpy(buf, why.data(), n);
    buf[n] = 0;
    return ok;
}

/***
What an input captures instead of its own picture or sound. A capture channel takes a video
file (`nil`: its test pattern again); an audio input (`{"AI", dev, chn}`) takes an audio file, or
`{frequency = hertz, level = dBFS}` for a tone (`nil`: 1 kHz at -12 dBFS). Raises when the target
takes no source or the file is unusable.
@function source
@param target a channel object or `{module, device, channel}`
@tparam[opt] string|table what a path, a tone, or `nil`
*/
int l_source(lua_State* L) {
    sim::Key k{0, 0, 0};
    luaL_argcheck(L, target_of(L, 1, &k), 1, "a channel object or {module, device, channel}");
    char why[512];
    bool ok;
    if (k.mod == HI_ID_AI && !lua_isstring(L, 2)) {
        double f = 1000, level = -12;
        if (lua_istable(L, 2)) {
            lua_getfield(L, 2, "frequency");
            lua_getfield(L, 2, "level");
            f = luaL_optnumber(L, -2, 1000);
            level = luaL_optnumber(L, -1, -12);
            lua_pop(L, 2);
        } else {
            luaL_argcheck(L, lua_isnoneornil(L, 2), 2, "a path, a tone table or nil");
        }
        ok = under_lock([&](std::string* w) { return sim::media::set_tone(k, f, level, w); }, why, sizeof why);
    } else {
        const char* path = luaL_optstring(L, 2, nullptr);
        ok = under_lock(
            [&](std::string* w) {
                return k.mod == HI_ID_AI ? sim::media::set_audio_file(k, path, w)
                                         : sim::media::set_file_source(sim::address(k), path, w);
            },
            why, sizeof why);
    }
    if (!ok) return luaL_error(L, "sim.source: %s", why);
    return 0;
}

/***
Which codecs encode and decode.
@function codecs
@treturn string "ffmpeg" when real codecs are built in, else "stand-in"
*/
int l_codecs(lua_State* L) {
    lua_pushstring(L, sim::media::real_codecs() ? "ffmpeg" : "stand-in");
    return 1;
}

// ---- screenshots ----------------------------------------------------------------

// The picture as 8-bit RGB rows (BT.601 video range, chroma V before U).
std::vector<unsigned char> rgb_of(const sim::media::Picture& p) {
    std::vector<unsigned char> rgb(static_cast<size_t>(p.width) * p.height * 3);
    const unsigned per = p.height / p.rows[1];
    for (unsigned y = 0; y < p.height; ++y) {
        const unsigned char* luma = p.plane(0) + static_cast<size_t>(y) * p.stride[0];
        const unsigned char* chroma = p.plane(1) + static_cast<size_t>(y / per) * p.stride[1];
        unsigned char* out = &rgb[static_cast<size_t>(y) * p.width * 3];
        for (unsigned x = 0; x < p.width; ++x) {
            const int c = 298 * (luma[x] - 16), v = chroma[x & ~1u] - 128, u = chroma[(x & ~1u) + 1] - 128;
            const int rgb3[3] = {(c + 409 * v + 128) >> 8, (c - 100 * u - 208 * v + 128) >> 8,
                                 (c + 516 * u + 128) >> 8};
            for (int i = 0; i < 3; ++i)
                out[3 * x + i] = static_cast<unsigned char>(rgb3[i] < 0 ? 0 : rgb3[i] > 255 ? 255 : rgb3[i]);
        }
    }
    return rgb;
}

#ifdef TESSEL_SIM_PNG
bool write_png(const char* path, unsigned width, unsigned height, const std::vector<unsigned char>& rgb,
               std::string* why) {
    FILE* f = std::fopen(path, "wb");
    if (!f) {
        *why = std::string("cannot write ") + path + ": " + std::strerror(errno);
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, info ? &info : nullptr);
        std::fclose(f);
        *why = std::string("libpng failed writing ") + path;
        return false;
    }
    png_init_io(png, f);
    png_set_compression_level(png, 1);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (unsigned y = 0; y < height; ++y)
        png_write_row(png, const_cast<png_bytep>(&rgb[static_cast<size_t>(y) * width * 3]));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(f) != 0) {
        *why = std::string("cannot write ") + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}
#else
// Without libpng: the same picture as a PNG whose image data is stored
// uncompressed (zlib "stored" blocks), which every reader takes.
unsigned long crc32_of(const unsigned char* p, size_t n, unsigned long crc = 0) {
    crc = ~crc & 0xFFFFFFFFul;
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320ul & (0ul - (crc & 1)));
    }
    return ~crc & 0xFFFFFFFFul;
}

void put32(std::vector<unsigned char>& out, unsigned long v) {
    for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<unsigned char>(v >> s));
}

void chunk(std::vector<unsigned char>& out, const char* type, const std::vector<unsigned char>& data) {
    put32(out, data.size());
    std::vector<unsigned char> body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    out.insert(out.end(), body.begin(), body.end());
    put32(out, crc32_of(body.data(), body.size()));
}

bool write_png(const char* path, unsigned width, unsigned height, const std::vector<unsigned char>& rgb,
               std::string* why) {
    std::vector<unsigned char> raw;  // each row behind its filter byte (none)
    raw.reserve((static_cast<size_t>(width) * 3 + 1) * height);
    for (unsigned y = 0; y < height; ++y) {
        raw.push_back(0);
        raw.insert(raw.end(), rgb.begin() + static_cast<long>(y) * width * 3, rgb.begin() + static_cast<long>(y + 1) * width * 3);
    }
    std::vector<unsigned char> z = {0x78, 0x01};
    unsigned long a = 1, b = 0;
    for (unsigned char c : raw) {
        a = (a + c) % 65521;
        b = (b + a) % 65521;
    }
    for (size_t at = 0; at < raw.size() || at == 0; at += 65535) {
        const size_t n = std::min<size_t>(65535, raw.size() - at);
        z.push_back(at + n >= raw.size() ? 1 : 0);
        z.push_back(static_cast<unsigned char>(n));
        z.push_back(static_cast<unsigned char>(n >> 8));
        z.push_back(static_cast<unsigned char>(~n));
        z.push_back(static_cast<unsigned char>(~n >> 8));
        z.insert(z.end(), raw.begin() + static_cast<long>(at), raw.begin() + static_cast<long>(at + n));
        if (raw.empty()) break;
    }
    put32(z, (b << 16) | a);
    std::vector<unsigned char> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<unsigned char> ihdr;
    put32(ihdr, width);
    put32(ihdr, height);
    ihdr.insert(ihdr.end(), {8, 2, 0, 0, 0});
    chunk(png, "IHDR", ihdr);
    chunk(png, "IDAT", z);
    chunk(png, "IEND", {});
    FILE* f = std::fopen(path, "wb");
    if (!f || std::fwrite(png.data(), 1, png.size(), f) != png.size() || std::fclose(f) != 0) {
        if (f) std::fclose(f);
        *why = std::string("cannot write ") + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}
#endif

// Writes what device dev shows (hdmi: the device the HDMI output carries)
// as a PNG; no Lua call happens in here. False with the reason in why.
bool screenshot(int dev, bool hdmi, const char* path, unsigned* width, unsigned* height, char* why, size_t cap) {
    std::string reason;
    sim::media::PicturePtr pic;
    sim::enter();
    sim::media::pump();
    if (hdmi) dev = sim::display::hdmi_device(&reason);
    if (dev >= 0) pic = sim::display::device_picture(dev, &reason);
    sim::leave();
    bool ok = pic != nullptr;
    if (ok) ok = write_png(path, pic->width, pic->height, rgb_of(*pic), &reason);
    if (ok) {
        *width = pic->width;
        *height = pic->height;
    }
    std::snprintf(why, cap, "%s", reason.c_str());
    return ok;
}

/***
Writes what a display device shows as a PNG file; raises when it cannot.
@function screenshot
@tparam VODevice|int|string device a `VODevice`, a device number, or "HDMI" (the picture the HDMI
output carries)
@string path
@treturn int width
@treturn int height
*/
int l_screenshot(lua_State* L) {
    int dev = -1;
    bool hdmi = false;
    if (lua_type(L, 1) == LUA_TNUMBER) {
        dev = static_cast<int>(luaL_checkinteger(L, 1));
    } else if (lua_type(L, 1) == LUA_TSTRING && std::strcmp(lua_tostring(L, 1), "HDMI") == 0) {
        hdmi = true;
    } else if (lua_type(L, 1) == LUA_TUSERDATA) {
        lua_getfield(L, 1, "DID");
        luaL_argcheck(L, lua_isinteger(L, -1), 1, "VODevice expected");
        dev = static_cast<int>(lua_tointeger(L, -1));
        lua_pop(L, 1);
    } else {
        luaL_argerror(L, 1, "VODevice, device number or \"HDMI\" expected");
    }
    const char* path = luaL_checkstring(L, 2);
    char why[512];
    unsigned width = 0, height = 0;
    if (!screenshot(dev, hdmi, path, &width, &height, why, sizeof why)) return luaL_error(L, "sim.screenshot: %s", why);
    lua_pushinteger(L, width);
    lua_pushinteger(L, height);
    return 2;
}

/***
Writes what an audio output plays into a WAV file; `nil` finishes the file.
@function record
@param target `{"AO", dev, chn}` or the output's channel object
@tparam[opt] string path
*/
int l_record(lua_State* L) {
    sim::Key k{0, 0, 0};
    luaL_argcheck(L, target_of(L, 1, &k), 1, "a channel object or {module, device, channel}");
    if (k.mod != HI_ID_AO) return luaL_error(L, "sim.record: only audio outputs ({\"AO\", dev, chn}) record");
    const char* path = luaL_optstring(L, 2, "");
    char why[256];
    if (!under_lock([&](std::string* w) { return sim::media::set_recording(k, path, w); }, why, sizeof why))
        return luaL_error(L, "sim.record: %s", why);
    return 0;
}

const luaL_Reg kFunctions[] = {
    {"reset", l_reset}, {"calls", l_calls}, {"clear", l_clear},
    {"fail", l_fail},   {"dot", l_dot},     {"journal", l_journal},
    {"check", l_check}, {"strict", l_strict}, {"clock", l_clock},
    {"now", l_now},     {"codecs", l_codecs}, {"source", l_source}, {"screenshot", l_screenshot},
    {"record", l_record}, {nullptr, nullptr},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_tessel_sim(lua_State* L) {
    luaL_newlib(L, kFunctions);
    return 1;
}
