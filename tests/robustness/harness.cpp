// The harness's Lua state, the walk of Tessel, the checked call and the
// round context (objects and prebuilt hostile values).
#include "harness.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <streambuf>
#include <unistd.h>

#include "frame/binding.h"
#include "media/media.h"
#include "sim/sim.h"

extern "C" int luaopen_tessel(lua_State* L);

namespace robust {
namespace {

// ---------------------------------------------------------------------------
// What a dying process can still print: the call in progress.

// Seconds one call may take before the watchdog ends the run; no call comes
// near it, even emulated on a loaded machine.
constexpr unsigned kCallWatchdogSeconds = 120;

char g_current[2048] = "(no call yet)";
char g_context[256] = "";

void writeAll(const char* s) {
  size_t n = std::strlen(s);
  while (n) {
    ssize_t w = ::write(2, s, n);
    if (w <= 0) return;
    s += w;
    n -= static_cast<size_t>(w);
  }
}

void printDying() {
  writeAll("\n*** robustness harness: the process is dying during\n    call: ");
  writeAll(g_current);
  writeAll("\n    ");
  writeAll(g_context);
  writeAll("\n");
}

void onSignal(int sig) {
  writeAll(sig == SIGALRM ? "\n*** watchdog: a call did not return\n" : "\n*** fatal signal\n");
  printDying();
  std::signal(sig, SIG_DFL);
  std::raise(sig == SIGALRM ? SIGABRT : sig);
}

#if defined(__SANITIZE_ADDRESS__)
#define ROBUST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ROBUST_SANITIZED 1
#endif
#endif

#ifdef ROBUST_SANITIZED
extern "C" void __sanitizer_set_death_callback(void (*callback)(void));
#endif

// ---------------------------------------------------------------------------
// Diagnostic lines written to std::cerr by the module are swallowed and
// checked: "[MM-DD hh:mm:ss] (ERR) <name> (<line>) <message>".

bool digits(const std::string& s, size_t at, size_t n) {
  if (at + n > s.size()) return false;
  for (size_t i = at; i < at + n; ++i)
    if (s[i] < '0' || s[i] > '9') return false;
  return true;
}

bool wellFormedDiagnostic(const std::string& s) {
  // [MM-DD hh:mm:ss]
  if (s.size() < 17 || s[0] != '[' || !digits(s, 1, 2) || s[3] != '-' || !digits(s, 4, 2) ||
      s[6] != ' ' || !digits(s, 7, 2) || s[9] != ':' || !digits(s, 10, 2) || s[12] != ':' ||
      !digits(s, 13, 2) || s[15] != ']')
    return false;
  const std::string head = " (ERR) ";
  if (s.compare(16, head.size(), head) != 0) return false;
  size_t name = 16 + head.size();
  size_t sp = s.find(' ', name);
  if (sp == std::string::npos || sp == name || sp + 2 >= s.size() || s[sp + 1] != '(') return false;
  size_t close = s.find(')', sp + 2);
  if (close == std::string::npos || close == sp + 2 || !digits(s, sp + 2, close - sp - 2)) return false;
  return close + 2 < s.size() && s[close + 1] == ' ';
}

class DiagnosticSink : public std::streambuf {
 public:
  long long lines = 0;
  std::string bad;  // first malformed line
  bool echo = false;

 protected:
  int overflow(int c) override {
    if (c == traits_type::eof()) return 0;
    if (c == '\n') {
      ++lines;
      if (echo) std::fprintf(stderr, "%s\n", line_.c_str());
      if (bad.empty() && !wellFormedDiagnostic(line_)) bad = line_.empty() ? "(empty line)" : line_;
      line_.clear();
    } else if (line_.size() < 4096) {
      line_.push_back(static_cast<char>(c));
    }
    return c;
  }

 private:
  std::string line_;
};

DiagnosticSink g_sink;
std::streambuf* g_savedCerr = nullptr;

// ---------------------------------------------------------------------------
// C functions the harness calls through lua_pcall.

// Pushes element i (from 0) of the list field of the table at idx.
void pushElement(lua_State* L, int idx, const char* field, long long i) {
  lua_getfield(L, idx, field);
  lua_rawgeti(L, -1, i + 1);
  lua_remove(L, -2);
}

int indexValue(lua_State* L) {  // (t, k) -> t[k] with metamethods
  lua_settop(L, 2);
  lua_gettable(L, 1);
  return 1;
}

int assignValue(lua_State* L) {  // (t, k, v): t[k] = v with metamethods
  lua_settop(L, 3);
  lua_settable(L, 1);
  return 0;
}

// The huge table, made the first time a round draws it: discovery and the
// sweep never do, and would otherwise walk its 22,000 entries in each of
// their many full collections.
const char kMakeHuge[] = R"lua(
local huge = {}
for i = 1, 20000 do huge[i] = i end
for i = 1, 2000 do huge["k" .. i] = i end
return huge
)lua";

// Prebuilt hostile values of one round; the argument is the list of field
// names that hold nested tables, so the self-referencing table recurses
// through exactly the keys converters follow.
const char kMakeValues[] = R"lua(
local nested = ...
local v = {}
local self = { 1, 2 }
self[3] = self
self.self = self
for _, k in ipairs(nested) do self[k] = self end
v.self = self
v.raising = setmetatable({}, {
  __index = function() error("raised by __index") end,
  __newindex = function() error("raised by __newindex") end,
  __len = function() error("raised by __len") end,
  __pairs = function() error("raised by __pairs") end,
})
v.const = setmetatable({}, { __index = function() return 7 end, __len = function() return 3 end })
v.nested = { { { { 1 } } }, a = { b = { c = { d = {} } } } }
v.array = { 1, 2, 3, 4, 5, 6, 7, 8 }
local co = coroutine.create(function() coroutine.yield() end)
coroutine.resume(co)
v.co = co
local dead = coroutine.create(function() end)
coroutine.resume(dead)
v.dead = dead
v.fn = function(...) return ... end
return v
)lua";

const long long kIntEdges[] = {
    0, 1, -1, 2, 3, 4, 7, 8, 15, 16, 26, 96, 127, 128, 255, 256, 265, 1002, 1023, 1024,
    1080, 1920, 4096, 65535, 65536,
    2147483647LL, -2147483647LL - 1, 2147483648LL, 4294967295LL, 4294967296LL,
    std::numeric_limits<long long>::max(), std::numeric_limits<long long>::min(),
};

const double kFloats[] = {
    0.5, -0.5, 1.5, 3.0, -0.0, 1e300, -1e300, 1e-300,
    std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(), 9223372036854775808.0, 2147483648.0, 4294967296.5,
};

// Words that match enumeration strings and module names, so that string
// arguments sometimes get past the first check of a converter.
const char* const kWords[] = {
    "H264", "H265", "JPEG", "MJPEG", "H264CBR", "H264VBR", "H264FIXQP", "MJPEGCBR",
    "YUV_SEMIPLANAR_420", "YUV_SEMIPLANAR_422", "VPSS", "VENC", "VDEC", "VIU", "VOU", "SYS",
    "VB", "AI", "AO", "RGN", "NORMALP", "AUTO", "NODIE", "DIE", "USER", "0", "12", "-1", "0x10",
};

constexpr int kLongString = 300;

std::string stringVariant(long long v) {
  switch (v % 8) {
    case 0: return "";
    case 1: return std::string(kLongString, 'A');
    case 2: return std::string("bin\0ary\xff\xfe\x01", 11) + std::string(64, '\x7f');
    case 3: return kWords[(v / 8) % (sizeof kWords / sizeof *kWords)];
    case 4: return "/dev/acodec";  // the emulated codec device
    case 5: return "/nonexistent-tessel-fuzz/dev";
    case 6: return std::string(257, 'x') + "%s%n%d";
    default: {
      std::string s = "zz_";
      for (long long k = v; k && s.size() < 20; k /= 26) s.push_back(static_cast<char>('a' + k % 26));
      return s;
    }
  }
}

}  // namespace

// ---------------------------------------------------------------------------

std::string describe(const Arg& a) {
  char buf[96];
  switch (a.kind) {
    case Kind::Nil: return "nil";
    case Kind::False: return "false";
    case Kind::True: return "true";
    case Kind::Int: std::snprintf(buf, sizeof buf, "%lld", a.i); return buf;
    case Kind::Float: std::snprintf(buf, sizeof buf, "%.17g", a.f); return buf;
    case Kind::Str: {
      std::string s = stringVariant(a.i);
      std::string shown;
      for (unsigned char c : s.substr(0, 24)) {
        if (c >= 32 && c < 127 && c != '"' && c != '\\') shown.push_back(static_cast<char>(c));
        else { std::snprintf(buf, sizeof buf, "\\%u", c); shown += buf; }
      }
      std::snprintf(buf, sizeof buf, "\"%s\"%s(len %zu)", shown.c_str(), s.size() > 24 ? "..." : "", s.size());
      return buf;
    }
    case Kind::EmptyTable: return "{}";
    case Kind::ArrayTable: return "{1..8}";
    case Kind::NestedTable: return "<nested table>";
    case Kind::SelfTable: return "<self-referencing table>";
    case Kind::HugeTable: return "<huge table>";
    case Kind::RaisingTable: return "<table whose metamethods raise>";
    case Kind::ConstIndexTable: return "<table whose __index answers 7>";
    case Kind::Template:
      std::snprintf(buf, sizeof buf, "<attribute table #%lld, mutation %lld>", a.i, static_cast<long long>(a.f));
      return buf;
    case Kind::LuaFunction: return "<Lua function>";
    case Kind::CFunction: return "<C function>";
    case Kind::Coroutine: return "<suspended coroutine>";
    case Kind::DeadCoroutine: return "<dead coroutine>";
    case Kind::LightUd: std::snprintf(buf, sizeof buf, "<light userdata %#llx>", a.i); return buf;
    case Kind::ClassTagUd: std::snprintf(buf, sizeof buf, "<light userdata: class tag #%lld>", a.i); return buf;
    case Kind::ForeignUd: return "<foreign full userdata>";
    case Kind::Object: std::snprintf(buf, sizeof buf, "<object #%lld>", a.i); return buf;
    case Kind::StaticTable: std::snprintf(buf, sizeof buf, "<class table #%lld>", a.i); return buf;
    case Kind::Namespace: return "<Tessel>";
  }
  return "?";
}

int Model::classIndex(const std::string& name) const {
  for (size_t i = 0; i < classes.size(); ++i)
    if (classes[i].name == name) return static_cast<int>(i);
  return -1;
}

Harness::Harness(std::uint64_t s, bool v) : seed(s), verbose(v) {
  // The harness reads every journal entry between its own clears.
  sim::journal_set_limit(static_cast<size_t>(-1));
  std::signal(SIGSEGV, onSignal);
  std::signal(SIGBUS, onSignal);
  std::signal(SIGFPE, onSignal);
  std::signal(SIGABRT, onSignal);
  std::signal(SIGALRM, onSignal);
#ifdef ROBUST_SANITIZED
  __sanitizer_set_death_callback(printDying);
#endif
  g_sink.echo = verbose;
  g_savedCerr = std::cerr.rdbuf(&g_sink);
  std::snprintf(g_context, sizeof g_context, "seed: %" PRIu64, seed);

  L = luaL_newstate();
  luaL_openlibs(L);
  // Nothing in the run may reach files, processes or loadable code.
  for (const char* name : {"os", "io", "dofile", "loadfile", "require", "package"}) {
    lua_pushnil(L);
    lua_setglobal(L, name);
  }
  luaopen_tessel(L);
  lua_settop(L, 0);
  lua_newtable(L);  // root
  for (const char* f : {"targets", "corpus", "statics", "tags"}) {
    lua_newtable(L);
    lua_setfield(L, kRoot, f);
  }
  lua_rawgeti(L, LUA_REGISTRYINDEX, LUA_RIDX_GLOBALS);
  lua_getfield(L, -1, "Tessel");
  lua_setfield(L, kRoot, "namespace");
  lua_pop(L, 1);
  if (luaL_loadstring(L, kMakeValues) != LUA_OK) fail(std::string("value script: ") + lua_tostring(L, -1));
  lua_setfield(L, kRoot, "makeValues");
  if (luaL_loadstring(L, kMakeHuge) != LUA_OK) fail(std::string("huge table script: ") + lua_tostring(L, -1));
  lua_setfield(L, kRoot, "makeHuge");
  static const char kSeeds[] =
#include "seeds.inc"
      ;
  if (luaL_loadbuffer(L, kSeeds, sizeof kSeeds - 1, "=seeds.lua") != LUA_OK || lua_pcall(L, 0, 1, 0) != LUA_OK)
    fail(std::string("seeds: ") + lua_tostring(L, -1));
  lua_setfield(L, kRoot, "seeds");
}

Harness::~Harness() {
  lua_close(L);
  std::cerr.rdbuf(g_savedCerr);
}

void Harness::fail(const std::string& what) {
  std::cerr.rdbuf(g_savedCerr);
  std::printf("\nFINDING: %s\n  phase: %s\n  call:  %s\n  seed:  %" PRIu64 "\n", what.c_str(),
              phase.c_str(), current.c_str(), seed);
  std::printf("  (the call above is the last one made; rerun with --seed %" PRIu64
              " and the same budget, or with --round as printed in the phase, to repeat it)\n",
              seed);
  std::fflush(stdout);
  std::_Exit(1);
}

// ---------------------------------------------------------------------------
// Walk: every class table under Tessel, its static functions and static
// properties, and through the hidden metatables its instance members.

namespace {

std::vector<std::string> sortedKeys(lua_State* L, int idx, int valueType) {
  idx = lua_absindex(L, idx);
  std::vector<std::string> keys;
  lua_pushnil(L);
  while (lua_next(L, idx)) {
    if (lua_type(L, -2) == LUA_TSTRING && (valueType == LUA_TNONE || lua_type(L, -1) == valueType))
      keys.emplace_back(lua_tostring(L, -2));
    lua_pop(L, 1);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

}  // namespace

namespace {

// Functions that must not be called, with the reason; they are printed at the
// start of every run. None so far: every simulated call returns.
struct Skip {
  const char* cls;
  const char* name;
  const char* why;
};
const Skip kSkip[] = {{nullptr, nullptr, nullptr}};

const char* skipReason(const std::string& cls, const std::string& name) {
  for (const Skip& s : kSkip)
    if (s.cls && cls == s.cls && name == s.name) return s.why;
  return nullptr;
}

}  // namespace

void Harness::walk() {
  int top = lua_gettop(L);
  lua_getfield(L, kRoot, "namespace");
  int ns = lua_gettop(L);
  for (const std::string& name : sortedKeys(L, ns, LUA_TTABLE)) {
    Class c;
    c.name = name;
    int ci = static_cast<int>(model.classes.size());
    lua_getfield(L, ns, name.c_str());
    int st = lua_gettop(L);
    lua_getfield(L, kRoot, "statics");
    lua_pushvalue(L, st);
    lua_rawseti(L, -2, ci + 1);
    lua_pop(L, 1);
    if (!lua_getmetatable(L, st)) fail("class table Tessel." + name + " has no metatable");
    int smt = lua_gettop(L);

    auto addTarget = [&](TargetKind k, const std::string& n, std::vector<int>& list) {
      if (const char* why = skipReason(name, n)) {
        model.skipped.push_back(name + "." + n + ": " + why);
        return 0;
      }
      model.targets.push_back(Target{k, ci, n});
      list.push_back(static_cast<int>(model.targets.size()) - 1);
      return static_cast<int>(model.targets.size());  // 1-based slot in root.targets
    };
    auto storeFunction = [&](int slot, int fnIdx) {
      if (slot == 0) return;
      lua_getfield(L, kRoot, "targets");
      lua_pushvalue(L, fnIdx);
      lua_rawseti(L, -2, slot);
      lua_pop(L, 1);
    };

    // Static functions are held raw by the class table.
    for (const std::string& fn : sortedKeys(L, st, LUA_TFUNCTION)) {
      int slot = addTarget(TargetKind::Static, fn, c.statics);
      lua_getfield(L, st, fn.c_str());
      storeFunction(slot, lua_gettop(L));
      lua_pop(L, 1);
    }
    lua_getfield(L, smt, "__propget");
    if (lua_istable(L, -1))
      for (const std::string& p : sortedKeys(L, -1, LUA_TNONE))
        addTarget(TargetKind::StaticPropRead, p, c.props);
    lua_pop(L, 1);

    // Instance side: methods are C functions, properties light userdata.
    lua_getfield(L, smt, "__class");
    int imt = lua_gettop(L);
    if (lua_istable(L, imt)) {
      lua_rawgeti(L, imt, 1);
      lua_getfield(L, kRoot, "tags");
      lua_insert(L, -2);
      lua_rawseti(L, -2, ci + 1);
      lua_pop(L, 1);
      lua_getfield(L, imt, "__members");
      int members = lua_gettop(L);
      if (lua_istable(L, members)) {
        for (const std::string& m : sortedKeys(L, members, LUA_TFUNCTION)) {
          int slot = addTarget(TargetKind::Method, m, c.methods);
          lua_getfield(L, members, m.c_str());
          storeFunction(slot, lua_gettop(L));
          lua_pop(L, 1);
        }
        for (const std::string& p : sortedKeys(L, members, LUA_TLIGHTUSERDATA)) {
          addTarget(TargetKind::PropRead, p, c.props);
          addTarget(TargetKind::PropWrite, p, c.props);
        }
        if (!c.methods.empty() || !c.props.empty())
          addTarget(TargetKind::PropWrite, "NoSuchMember", c.props);
      }
    }
    model.classes.push_back(c);
    lua_settop(L, ns);
  }
  lua_settop(L, top);
  callsPerTarget.assign(model.targets.size(), 0);
  properCallsPerTarget.assign(model.targets.size(), 0);
}

// ---------------------------------------------------------------------------
// Values.

void Harness::push(const Arg& a) {
  switch (a.kind) {
    case Kind::Nil: lua_pushnil(L); return;
    case Kind::False: lua_pushboolean(L, 0); return;
    case Kind::True: lua_pushboolean(L, 1); return;
    case Kind::Int: lua_pushinteger(L, static_cast<lua_Integer>(a.i)); return;
    case Kind::Float: lua_pushnumber(L, a.f); return;
    case Kind::Str: {
      std::string s = stringVariant(a.i);
      lua_pushlstring(L, s.data(), s.size());
      return;
    }
    case Kind::EmptyTable: lua_newtable(L); return;
    case Kind::ArrayTable: lua_getfield(L, kCtx, "array"); return;
    case Kind::NestedTable: lua_getfield(L, kCtx, "nested"); return;
    case Kind::SelfTable: lua_getfield(L, kCtx, "self"); return;
    case Kind::HugeTable:
      if (lua_getfield(L, kCtx, "huge") != LUA_TNIL) return;
      lua_pop(L, 1);
      lua_getfield(L, kRoot, "makeHuge");
      lua_call(L, 0, 1);
      lua_pushvalue(L, -1);
      lua_setfield(L, kCtx, "huge");
      return;
    case Kind::RaisingTable: lua_getfield(L, kCtx, "raising"); return;
    case Kind::ConstIndexTable: lua_getfield(L, kCtx, "const"); return;
    case Kind::LuaFunction: lua_getfield(L, kCtx, "fn"); return;
    case Kind::CFunction: lua_pushcfunction(L, indexValue); return;
    case Kind::Coroutine: lua_getfield(L, kCtx, "co"); return;
    case Kind::DeadCoroutine: lua_getfield(L, kCtx, "dead"); return;
    case Kind::LightUd:
      lua_pushlightuserdata(L, reinterpret_cast<void*>(static_cast<std::uintptr_t>(a.i)));
      return;
    case Kind::ClassTagUd:
      pushElement(L, kRoot, "tags", a.i);
      return;
    case Kind::ForeignUd: lua_getfield(L, kCtx, "foreign"); return;
    case Kind::Object:
      pushElement(L, kCtx, "objs", a.i);
      return;
    case Kind::StaticTable:
      pushElement(L, kRoot, "statics", a.i);
      return;
    case Kind::Namespace: lua_getfield(L, kRoot, "namespace"); return;
    case Kind::Template: {
      pushElement(L, kRoot, "corpus", a.i);
      Rng r(static_cast<std::uint64_t>(a.f));
      pushMutated(lua_gettop(L), r, static_cast<std::uint64_t>(a.f) != 0, 0);
      lua_remove(L, -2);
      return;
    }
  }
}

void Harness::pushMutated(int src, Rng& r, bool mutate, int depth) {
  // Keys in a fixed order: integer keys first, then strings, each sorted.
  std::vector<std::pair<int, std::string>> keys;
  lua_pushnil(L);
  while (lua_next(L, src)) {
    if (lua_type(L, -2) == LUA_TNUMBER) keys.emplace_back(0, std::to_string(lua_tointeger(L, -2)));
    else if (lua_type(L, -2) == LUA_TSTRING) keys.emplace_back(1, lua_tostring(L, -2));
    lua_pop(L, 1);
  }
  std::sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) {
    if (a.first != b.first) return a.first < b.first;
    if (a.first == 0) return std::stoll(a.second) < std::stoll(b.second);
    return a.second < b.second;
  });
  lua_createtable(L, 0, static_cast<int>(keys.size()));
  int dst = lua_gettop(L);
  for (const auto& k : keys) {
    if (k.first == 0) lua_pushinteger(L, std::stoll(k.second));
    else lua_pushstring(L, k.second.c_str());
    if (mutate && r.chance(6)) {  // dropped
      lua_pop(L, 1);
      continue;
    }
    if (mutate && r.chance(10)) {
      push(randomArg(r, false));
    } else {
      lua_pushvalue(L, -1);
      lua_rawget(L, src);
      if (lua_istable(L, -1) && depth < 8) {
        pushMutated(lua_gettop(L), r, mutate, depth + 1);
        lua_remove(L, -2);
      }
    }
    lua_rawset(L, dst);
  }
  if (mutate && r.chance(10)) {
    push(Arg{Kind::Str, static_cast<long long>(r.below(1000)), 0});
    push(randomArg(r, false));
    lua_rawset(L, dst);
  }
}

Arg Harness::randomArg(Rng& r, bool allowTemplate) {
  static const Kind kPick[] = {
      Kind::Nil, Kind::Nil, Kind::Nil, Kind::False, Kind::True, Kind::True,
      Kind::Int, Kind::Int, Kind::Int, Kind::Int, Kind::Int, Kind::Int, Kind::Int, Kind::Int,
      Kind::Float, Kind::Float, Kind::Float,
      Kind::Str, Kind::Str, Kind::Str, Kind::Str, Kind::Str,
      Kind::EmptyTable, Kind::EmptyTable, Kind::ArrayTable, Kind::NestedTable, Kind::SelfTable,
      Kind::HugeTable, Kind::RaisingTable, Kind::RaisingTable, Kind::ConstIndexTable, Kind::ConstIndexTable,
      Kind::Template, Kind::Template, Kind::Template, Kind::Template, Kind::Template, Kind::Template,
      Kind::LuaFunction, Kind::CFunction, Kind::Coroutine, Kind::DeadCoroutine,
      Kind::LightUd, Kind::ClassTagUd, Kind::ForeignUd,
      Kind::Object, Kind::Object, Kind::Object, Kind::Object, Kind::Object,
      Kind::StaticTable, Kind::Namespace,
  };
  Arg a;
  a.kind = kPick[r.below(sizeof kPick / sizeof *kPick)];
  switch (a.kind) {
    case Kind::Int:
      a.i = r.chance(50) ? static_cast<long long>(r.below(10))
                         : kIntEdges[r.below(sizeof kIntEdges / sizeof *kIntEdges)];
      break;
    case Kind::Float: a.f = kFloats[r.below(sizeof kFloats / sizeof *kFloats)]; break;
    case Kind::Str: a.i = r.below(8 * 64); break;
    case Kind::Template:
      if (!allowTemplate || model.corpusSize == 0) return Arg{Kind::EmptyTable, 0, 0};
      a.i = r.below(static_cast<std::uint32_t>(model.corpusSize));
      a.f = static_cast<double>(r.chance(25) ? 0 : 1 + r.below(1u << 30));
      break;
    case Kind::LightUd: {
      static const long long kPtrs[] = {0, 1, 8, 0xdeadbeef, -1};
      a.i = kPtrs[r.below(5)];
      break;
    }
    case Kind::ClassTagUd: a.i = r.below(static_cast<std::uint32_t>(model.classes.size())); break;
    case Kind::Object:
      if (objClass.empty()) return Arg{};
      a.i = r.below(static_cast<std::uint32_t>(objClass.size()));
      break;
    case Kind::StaticTable: a.i = r.below(static_cast<std::uint32_t>(model.classes.size())); break;
    default: break;
  }
  return a;
}

// ---------------------------------------------------------------------------
// The checked call.

void Harness::describeCall(int target, const Arg* self, const std::vector<Arg>& args) {
  const Target& t = model.targets[target];
  const std::string& cls = model.classes[t.cls].name;
  std::string s;
  std::string selfText = self ? describe(*self) : "";
  if (self && self->kind == Kind::Object && self->i < static_cast<long long>(objClass.size()))
    selfText += "=" + model.classes[objClass[self->i]].name;
  switch (t.kind) {
    case TargetKind::Static: s = "Tessel." + cls + "." + t.name + "("; break;
    case TargetKind::Method: s = cls + ":" + t.name + "(self=" + selfText + (args.empty() ? "" : ", "); break;
    case TargetKind::PropRead: s = "read " + cls + "." + t.name + " of " + selfText; break;
    case TargetKind::PropWrite: s = "write " + cls + "." + t.name + " of " + selfText + " = "; break;
    case TargetKind::StaticPropRead: s = "read Tessel." + cls + "." + t.name; break;
  }
  for (size_t i = 0; i < args.size(); ++i) {
    if (i) s += ", ";
    std::string d = describe(args[i]);
    if (args[i].kind == Kind::Object && args[i].i < static_cast<long long>(objClass.size()))
      d += "=" + model.classes[objClass[args[i].i]].name;
    s += d;
  }
  if (t.kind == TargetKind::Static || t.kind == TargetKind::Method) s += ")";
  current = s;
  if (trace) std::printf("  %s\n", s.c_str());
  std::snprintf(g_current, sizeof g_current, "%s", s.c_str());
  std::snprintf(g_context, sizeof g_context, "seed: %" PRIu64 "; %s", seed, phase.c_str());
}

namespace {

// "<text> [@<name>: line <n>]" or "<text> [@<name>: line <n> - error=XXXXXXXX]".
bool wellFormedMessage(const std::string& m, std::string* why) {
  size_t at = m.rfind(" [@");
  if (at == std::string::npos) return true;  // a fixed refusal text
  if (m.empty() || m.back() != ']') {
    *why = "location part does not end the message";
    return false;
  }
  size_t colon = m.find(": line ", at);
  if (colon == std::string::npos || colon == at + 3) {
    *why = "no \": line\" after the function name";
    return false;
  }
  size_t n = colon + 7, e = n;
  while (e < m.size() && m[e] >= '0' && m[e] <= '9') ++e;
  if (e == n) {
    *why = "no line number";
    return false;
  }
  std::string rest = m.substr(e);
  if (rest == "]") return true;
  if (rest.size() == 18 && rest.compare(0, 9, " - error=") == 0 && rest[17] == ']') {
    for (int i = 9; i < 17; ++i)
      if (!((rest[i] >= '0' && rest[i] <= '9') || (rest[i] >= 'A' && rest[i] <= 'F'))) {
        *why = "error code is not eight upper-case hexadecimal digits";
        return false;
      }
    return true;
  }
  *why = "unexpected text after the line number";
  return false;
}

}  // namespace

Outcome Harness::call(int target, const Arg* self, const std::vector<Arg>& args, bool keep) {
  const Target& t = model.targets[target];
  describeCall(target, self, args);
  int top = lua_gettop(L);
  int reg = Tessel::registrySize(L);

  int n = static_cast<int>(args.size());
  switch (t.kind) {
    case TargetKind::Static:
    case TargetKind::Method:
      pushElement(L, kRoot, "targets", target);
      if (t.kind == TargetKind::Method) {
        if (self) push(*self);
        else --n;  // no self at all: the first argument takes its place
        ++n;
      }
      break;
    case TargetKind::PropRead:
    case TargetKind::PropWrite:
      lua_pushcfunction(L, t.kind == TargetKind::PropRead ? indexValue : assignValue);
      if (self) push(*self);
      else lua_pushnil(L);
      lua_pushstring(L, t.name.c_str());
      n = t.kind == TargetKind::PropRead ? 2 : 3;
      break;
    case TargetKind::StaticPropRead:
      lua_pushcfunction(L, indexValue);
      pushElement(L, kRoot, "statics", t.cls);
      lua_pushstring(L, t.name.c_str());
      n = 2;
      break;
  }
  if (t.kind == TargetKind::PropWrite) {
    push(args.empty() ? Arg::integer(1) : args[0]);
  } else if (t.kind == TargetKind::Static || t.kind == TargetKind::Method) {
    for (const Arg& a : args) push(a);
  }
  if (lua_gettop(L) != top + 1 + n) fail("harness: argument count mismatch");

  ++calls;
  ++callsPerTarget[target];
  bool proper = t.kind == TargetKind::Static || t.kind == TargetKind::StaticPropRead ||
                (self && self->kind == Kind::Object && self->i < static_cast<long long>(objClass.size()) &&
                 objClass[self->i] == t.cls);
  if (proper) ++properCallsPerTarget[target];

  Outcome o;
  // The watchdog times each call alone, so a slow or busy machine cannot
  // trip it: only a call that blocks ends the run, with its description.
  alarm(kCallWatchdogSeconds);
  try {
    o.status = lua_pcall(L, n, LUA_MULTRET, 0);
  } catch (...) {
    fail("a C++ exception escaped from the call through Lua");
  }
  alarm(0);
  int nres = lua_gettop(L) - top;
  if (nres < 0) fail("the call removed values below its own frame from the Lua stack");
  if (o.status != LUA_OK) {
    if (o.status != LUA_ERRRUN)
      fail("the call ended with Lua status " + std::to_string(o.status) + " (memory or handler error)");
    if (lua_type(L, -1) != LUA_TSTRING)
      fail(std::string("the call raised a ") + luaL_typename(L, -1) + " instead of a message");
    o.error = lua_tostring(L, -1);
  } else {
    for (int i = 1; i <= nres; ++i) {
      o.types.push_back(lua_type(L, top + i));
      if (i <= 3) {
        int ty = lua_type(L, top + i);
        std::string text;
        if (ty == LUA_TBOOLEAN) text = lua_toboolean(L, top + i) ? "true" : "false";
        else if (lua_isinteger(L, top + i)) text = std::to_string(lua_tointeger(L, top + i));
        else if (ty == LUA_TNUMBER) text = std::to_string(lua_tonumber(L, top + i));
        else if (ty == LUA_TSTRING) text = lua_tostring(L, top + i);
        o.texts.push_back(text);
      }
    }
    if (nres >= 1 && lua_isinteger(L, top + 1)) {
      o.firstIsInt = true;
      o.firstInt = lua_tointeger(L, top + 1);
    }
    if (nres >= 1 && Tessel::isObject(L, top + 1) && lua_getmetatable(L, top + 1)) {
      lua_getfield(L, -1, "__name");
      if (lua_isstring(L, -1)) o.firstClass = lua_tostring(L, -1);
      lua_pop(L, 2);
    }
    if (nres >= 2 && lua_type(L, top + 2) == LUA_TSTRING) {
      size_t len = 0;
      const char* s = lua_tolstring(L, top + 2, &len);
      o.secondStr.assign(s, len);
    }
    if (nres >= 2 && o.types[0] == LUA_TNIL && lua_type(L, top + 2) == LUA_TSTRING) {
      std::string why;
      if (o.secondStr.size() > 255)
        fail("failure message longer than 255 characters (" + std::to_string(o.secondStr.size()) + ")");
      if (!wellFormedMessage(o.secondStr, &why)) fail("malformed failure message (" + why + "): " + o.secondStr);
    }
  }

  // Properties: a read of a registered property on an object of its class
  // yields a value; every write raises the documented error.
  if (proper && t.kind == TargetKind::PropRead && (o.status != LUA_OK || o.types.empty() || o.types[0] == LUA_TNIL))
    fail("reading a registered property failed: " + o.error);
  if (proper && t.kind == TargetKind::StaticPropRead && (o.status != LUA_OK || o.types.empty() || o.types[0] == LUA_TNIL))
    fail("reading a static property failed: " + o.error);
  if (proper && t.kind == TargetKind::PropWrite) {
    bool registered = t.name != "NoSuchMember";
    const char* want = registered ? "' is read-only" : "no member named 'NoSuchMember'";
    if (o.status == LUA_OK || o.error.find(want) == std::string::npos)
      fail(std::string("assignment did not raise \"") + want + "\" but " +
           (o.status == LUA_OK ? "succeeded" : "raised: " + o.error));
  }

  if (!keep) {
    lua_settop(L, top);
  }
  absorbJournal();
  int after = Tessel::registrySize(L);
  if (after != reg)
    fail("registry holds " + std::to_string(after) + " entries after the call, " + std::to_string(reg) +
         " before");
  if (!keep && lua_gettop(L) != top) fail("Lua stack depth changed across the call");
  checkDiagnostics();
  return o;
}

void Harness::checkDiagnostics() {
  diagLines = g_sink.lines;
  if (!g_sink.bad.empty()) fail("malformed diagnostic line on standard error: " + g_sink.bad);
}

// ---------------------------------------------------------------------------
// Round context.

namespace {

// Platform objects named by the handle their create call returns.
struct HandleKind {
  const char* create;
  const char* destroy;
  long long invalid;  // what the create call returns when it fails
};
const HandleKind kHandleKinds[] = {
    {"HI_MPI_VB_CreatePool", "HI_MPI_VB_DestroyPool", 0xFFFFFFFFLL},
};

}  // namespace

bool handleCreate(const std::string& name, long long* invalid) {
  for (const HandleKind& k : kHandleKinds)
    if (name == k.create) {
      *invalid = k.invalid;
      return true;
    }
  return false;
}

namespace {

// What identifies the target of a create or destroy call: the destroy
// function's name and the leading integer arguments (for HI_MPI_VENC_CreateChn
// (5, attrs) and HI_MPI_VENC_DestroyChn(5) both "HI_MPI_VENC_DestroyChn:5").
std::string targetOf(const sim::Entry& e) {
  std::string s = e.name;
  size_t at = s.find("Create");
  if (at != std::string::npos) s.replace(at, 6, "Destroy");
  for (const sim::Value& v : e.args) {
    if (v.kind != sim::Value::Int) break;
    s += ":" + std::to_string(v.i);
  }
  return s;
}

bool succeeded(const sim::Entry& e) { return e.ret.kind == sim::Value::Int && e.ret.i == 0; }

}  // namespace

// Every refusal says why, with a code the platform defines; a call that
// went through gives no reason. A failure requested with sim.fail (the
// sweep's) is the harness's own doing.
void Harness::checkRefusal(const sim::Entry& e) {
  if (e.injected || e.ret.kind != sim::Value::Int) return;
  if (e.ret.i == 0) {
    if (!e.reason.empty()) fail(e.name + " went through, yet its journal entry gives a reason: " + e.reason);
    return;
  }
  if (e.ret.i >= 0 || (static_cast<unsigned>(e.ret.i) >> 24) != 0xA0u) return;
  const std::int32_t code = static_cast<std::int32_t>(e.ret.i);
  char hex[16];
  std::snprintf(hex, sizeof hex, "%08X", static_cast<unsigned>(code));
  if (!sim::defined_code(code)) fail(e.name + " answered " + hex + ", a code the platform's headers do not define");
  if (e.reason.empty() || e.reason == sim::code_reason(code))
    fail(e.name + " answered " + sim::code_name(code) + " without saying why");
}

void Harness::absorbJournal() {
  bool touched = false;
  std::vector<std::string> made, refused;
  for (size_t e = absorbed; e < sim::journal_size(); ++e) {
    const sim::Entry& entry = sim::journal_entry(e);
    checkRefusal(entry);
    if (trace) {
      std::string ints;
      for (const sim::Value& v : entry.args)
        ints += v.kind == sim::Value::Int ? std::to_string(v.i) + " " : std::string(". ");
      std::printf("      %s(%s) -> %lld\n", entry.name.c_str(), ints.c_str(), entry.ret.i);
    }
    bool handled = false;
    for (const HandleKind& k : kHandleKinds) {
      if (entry.name == k.create) {
        handled = true;
        if (entry.ret.kind == sim::Value::Int && entry.ret.i != k.invalid)
          handles[std::string(k.create) + " " + std::to_string(entry.ret.i)] = false;
      }
      if (entry.name == k.destroy && !entry.args.empty() && entry.args[0].kind == sim::Value::Int) {
        handled = true;
        auto it = handles.find(std::string(k.create) + " " + std::to_string(entry.args[0].i));
        if (it != handles.end()) {
          if (succeeded(entry)) handles.erase(it);
          else it->second = true;  // the platform refused: excused
        }
      }
    }
    if (handled) continue;
    if (entry.name.find("Create") != std::string::npos && succeeded(entry)) {
      made.push_back(targetOf(entry));
      touched = true;
    } else if (entry.name.find("Destroy") != std::string::npos) {
      if (!succeeded(entry)) refused.push_back(targetOf(entry));
      touched = true;
    }
  }
  absorbed = sim::journal_size();
  if (!touched) return;

  // Follow the state store: new created objects take the targets of this
  // batch's create calls in order; a refused destroy excuses its target.
  std::map<sim::Key, bool> now;
  for (int mod = 0; mod < 64; ++mod)
    for (const sim::Key& k : sim::objects(mod)) {
      const sim::Object* o = sim::find(k);
      if (o && o->created) now[k] = true;
    }
  for (auto it = owned.begin(); it != owned.end();)
    it = now.count(it->first) ? std::next(it) : owned.erase(it);
  for (const auto& k : now) {
    if (owned.count(k.first)) continue;
    // The create call whose last number is the object's own number.
    const std::string own = ":" + std::to_string(k.first.chn >= 0 ? k.first.chn : k.first.dev);
    auto m = std::find_if(made.begin(), made.end(), [&](const std::string& t) {
      return t.size() >= own.size() && t.compare(t.size() - own.size(), own.size(), own) == 0;
    });
    if (m == made.end()) m = made.begin();
    owned[k.first] = Owned{m == made.end() ? "" : *m, false};
    if (m != made.end()) made.erase(m);
  }
  for (const std::string& r : refused)
    for (auto& o : owned)
      if (o.second.target == r) o.second.excused = true;
}

void Harness::clearJournal() {
  absorbJournal();
  sim::journal_clear();
  absorbed = 0;
}

// Simulated time is virtual: a call told to wait (a stream, a picture) waits
// for what is due and no longer, so a long wait with nothing coming ends at
// once instead of sleeping.
void Harness::resetPlatform() {
  sim::reset();
  sim::media::set_clock(sim::media::Clock::Virtual);
  handles.clear();
  owned.clear();
  absorbed = 0;
}

int Harness::createdObjects(std::string* list) {
  absorbJournal();
  int n = 0;
  for (int mod = 0; mod < 64; ++mod)
    for (const sim::Key& k : sim::objects(mod)) {
      const sim::Object* o = sim::find(k);
      if (!o || !o->created) continue;
      auto it = owned.find(k);
      if (it != owned.end() && it->second.excused) continue;
      ++n;
      if (list) *list += " (" + std::to_string(k.mod) + "," + std::to_string(k.dev) + "," +
                         std::to_string(k.chn) + ")";
    }
  for (const auto& h : handles) {
    if (h.second) continue;
    ++n;
    if (list) *list += " [" + h.first + "]";
  }
  return n;
}

void Harness::buildContext(Rng& rng, bool vary) {
  lua_settop(L, kRoot);
  // The platform set-up of the seeds (pools, system start).
  lua_getfield(L, kRoot, "seeds");
  lua_getfield(L, -1, "setup");
  lua_getfield(L, kRoot, "namespace");
  if (lua_isfunction(L, -2) && lua_pcall(L, 1, 0, 0) != LUA_OK)
    fail(std::string("the seeds' setup failed: ") + lua_tostring(L, -1));
  lua_settop(L, kRoot);
  clearJournal();
  lua_newtable(L);  // ctx at kCtx
  lua_newtable(L);
  lua_setfield(L, kCtx, "objs");
  objClass.clear();
  objRecipe.clear();

  lua_getfield(L, kRoot, "makeValues");
  lua_createtable(L, static_cast<int>(model.nestedKeys.size()), 0);
  for (size_t i = 0; i < model.nestedKeys.size(); ++i) {
    lua_pushstring(L, model.nestedKeys[i].c_str());
    lua_rawseti(L, -2, static_cast<lua_Integer>(i) + 1);
  }
  if (lua_pcall(L, 1, 1, 0) != LUA_OK) fail(std::string("value script: ") + lua_tostring(L, -1));
  lua_pushnil(L);
  while (lua_next(L, -2)) {
    lua_pushvalue(L, -2);
    lua_insert(L, -2);
    lua_rawset(L, kCtx);
  }
  lua_pop(L, 1);

  // A full userdata that is not one of the module's objects but looks like
  // one from outside: a metatable with a light userdata at [1] and a class
  // name.
  void* ud = lua_newuserdata(L, sizeof(void*) * 2);
  std::memset(ud, 0xA5, sizeof(void*) * 2);
  lua_newtable(L);
  lua_pushlightuserdata(L, ud);
  lua_rawseti(L, -2, 1);
  lua_pushstring(L, model.classes.empty() ? "X" : model.classes[0].name.c_str());
  lua_setfield(L, -2, "__name");
  lua_setmetatable(L, -2);
  lua_setfield(L, kCtx, "foreign");

  // Objects, two per recipe, parents before children.
  for (size_t ri = 0; ri < model.recipes.size(); ++ri) {
    const Recipe& rc = model.recipes[ri];
    for (int copy = 0; copy < 2; ++copy) {
      std::vector<Arg> args = rc.args;
      if (vary && copy > 0)
        for (Arg& a : args)
          if (a.kind == Kind::Int) {
            a.i = rng.below(4);
            break;
          }
      Arg self;
      const Arg* selfp = nullptr;
      if (rc.parentCls >= 0) {
        std::vector<int> parents;
        for (size_t k = 0; k < objClass.size(); ++k)
          if (objClass[k] == rc.parentCls) parents.push_back(static_cast<int>(k));
        if (parents.empty()) continue;
        self = Arg::object(parents[rng.below(static_cast<std::uint32_t>(parents.size()))]);
        selfp = &self;
      }
      int top = lua_gettop(L);
      Outcome o = call(rc.target, selfp, args, true);
      if (o.status == LUA_OK && !o.firstClass.empty()) {
        int cls = model.classIndex(o.firstClass);
        lua_getfield(L, kCtx, "objs");
        lua_pushvalue(L, top + 1);
        lua_rawseti(L, -2, static_cast<lua_Integer>(objClass.size()) + 1);
        lua_pop(L, 1);
        objClass.push_back(cls);
        objRecipe.push_back(static_cast<int>(ri));
        // The seeds may ready an object before it is used (open a device).
        lua_getfield(L, kRoot, "seeds");
        lua_getfield(L, -1, "ready");
        if (lua_istable(L, -1) && lua_getfield(L, -1, o.firstClass.c_str()) == LUA_TFUNCTION) {
          lua_pushvalue(L, top + 1);
          if (lua_pcall(L, 1, 0, 0) != LUA_OK)
            fail("the seeds' readying of " + o.firstClass + " failed: " + lua_tostring(L, -1));
        }
      }
      lua_settop(L, top);
    }
  }
  if (injectLeak) sim::obtain(sim::Key{63, 0, 0}).created = true;
}

void Harness::dropContext(const char* when, bool allowLeftovers) {
  lua_settop(L, kRoot);
  objClass.clear();
  objRecipe.clear();
  lua_gc(L, LUA_GCCOLLECT, 0);
  lua_gc(L, LUA_GCCOLLECT, 0);
  std::string list;
  if (!allowLeftovers && createdObjects(&list) > 0)
    fail(std::string("platform objects made by Create calls are still there ") + when +
         " (module, device, channel):" + list);
  int reg = Tessel::registrySize(L);
  if (reg != registryBase)
    fail(std::string("registry holds ") + std::to_string(reg) + " entries " + when + ", " +
         std::to_string(registryBase) + " at the start");
}

}  // namespace robust
