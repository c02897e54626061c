// Robustness harness: discovers everything the module registers under Tessel,
// calls it with hostile arguments and with failing platform calls, and checks
// after every call that the Lua stack, the registry and the simulator's
// objects are as they were.
//
// Stack layout of the harness's Lua state while it runs:
//   1  root table: targets (callable functions), corpus (attribute tables
//      learned from the journal), statics (the Tessel class tables)
//   2  round context: objects made by the factories and prebuilt values
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <lua.hpp>

#include "sim/sim.h"

namespace robust {

constexpr int kRoot = 1;
constexpr int kCtx = 2;

// Deterministic generator (splitmix64): the same seed gives the same run.
struct Rng {
  std::uint64_t s;
  explicit Rng(std::uint64_t seed) : s(seed) {}
  std::uint64_t next() {
    std::uint64_t z = (s += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  std::uint32_t below(std::uint32_t n) { return n ? static_cast<std::uint32_t>(next() % n) : 0; }
  bool chance(int percent) { return below(100) < static_cast<std::uint32_t>(percent); }
};

// ---------------------------------------------------------------------------
// Arguments: what was passed, kept small so that a failing call can be
// described (and repeated) without the Lua state.

enum class Kind : std::uint8_t {
  Nil, False, True, Int, Float, Str,
  EmptyTable, ArrayTable, NestedTable, SelfTable, HugeTable,
  RaisingTable, ConstIndexTable, Template,
  LuaFunction, CFunction, Coroutine, DeadCoroutine, LightUd, ClassTagUd, ForeignUd,
  Object, StaticTable, Namespace,
};

struct Arg {
  Kind kind = Kind::Nil;
  long long i = 0;  // Int value, string variant, object/template index
  double f = 0;     // Float value
  static Arg nil() { return {}; }
  static Arg integer(long long v) { Arg a; a.kind = Kind::Int; a.i = v; return a; }
  static Arg object(int idx) { Arg a; a.kind = Kind::Object; a.i = idx; return a; }
  static Arg tmpl(int idx) { Arg a; a.kind = Kind::Template; a.i = idx; return a; }
};

std::string describe(const Arg& a);

// ---------------------------------------------------------------------------
// What the module registers.

enum class TargetKind : std::uint8_t { Static, Method, PropRead, PropWrite, StaticPropRead };

struct Target {
  TargetKind kind;
  int cls;           // index into Model::classes
  std::string name;  // function or property name
};

struct Class {
  std::string name;
  std::vector<int> statics;     // targets
  std::vector<int> methods;     // targets (instance methods, inherited ones included)
  std::vector<int> props;       // targets (property reads and writes)
  bool hasObjects = false;      // some factory produced one
};

// How to obtain an object: call a static function, or a method of an object
// of another class, with these arguments (the first integer is varied).
struct Recipe {
  int target;
  int parentCls;  // -1 for a static function
  std::vector<Arg> args;
  int produces;
  bool creates = false;  // it made a platform object during discovery
};

// A call that reached the platform, for the failure sweep.
struct PlatformUse {
  int target;
  std::vector<Arg> args;
  int self;          // recipe index of the object used as self, -1 for statics
  std::string name;  // HI_MPI_* (or ioctl) journaled by the call
  std::vector<int> argRecipes;  // per argument: recipe index of an object, -1 for other values
};

struct Model {
  std::vector<Class> classes;
  std::vector<Target> targets;
  std::vector<Recipe> recipes;
  std::vector<std::vector<Arg>> plausible;  // per target: arguments that reached the platform
  std::vector<PlatformUse> uses;
  std::vector<std::string> nestedKeys;      // field names whose values are tables
  std::vector<std::string> skipped;         // "<target>: <reason>"
  int corpusSize = 0;                       // learned attribute tables in root.corpus
  int classIndex(const std::string& name) const;
};

// ---------------------------------------------------------------------------
// The checked call and the invariants.

struct Outcome {
  int status = LUA_OK;
  std::vector<int> types;       // Lua type of each result
  bool firstIsInt = false;
  long long firstInt = 0;
  std::string secondStr;        // second result when it is a string
  std::string error;            // error message when status != LUA_OK
  std::string firstClass;       // class name when the first result is an object
  std::vector<std::string> texts;  // the first results as text (booleans, numbers, strings)
};

class Harness {
 public:
  Harness(std::uint64_t seed, bool verbose);
  ~Harness();

  lua_State* L = nullptr;
  Model model;
  std::uint64_t seed;
  bool verbose;
  bool trace = false;  // every call and every platform call it made, on stdout
  long long calls = 0;
  std::vector<long long> callsPerTarget;
  std::vector<long long> properCallsPerTarget;  // self of the right class (or static)

  // Finds everything under Tessel and learns factories and argument shapes.
  void discover();

  // Calls target with self (object index in the round context, or -1 for a
  // non-object self given by selfArg) and args. All invariants are checked;
  // a violation ends the run through fail(). The results stay on the stack
  // when keep is set (the caller pops them), otherwise they are dropped.
  Outcome call(int target, const Arg* self, const std::vector<Arg>& args, bool keep = false);

  // Pushes one argument value.
  void push(const Arg& a);
  // A random argument (templates from the corpus when allowTemplate).
  Arg randomArg(Rng& r, bool allowTemplate = true);

  // Builds a fresh round context at kCtx from the recipes, varying ids with rng.
  void buildContext(Rng& rng, bool created);
  // Drops the context and collects; checks that the simulator holds no
  // object made by a Create call and that the registry is back to base.
  void dropContext(const char* when, bool allowFailedDestroy = false);
  int objectCount() const { return static_cast<int>(objClass.size()); }
  std::vector<int> objClass;     // class of each context object
  std::vector<int> objRecipe;    // recipe that made it

  // Platform objects made by create calls and not destroyed: those of the
  // simulator's state store, and those named by a handle the create call
  // returned (buffer pools), followed through the journal.
  int createdObjects(std::string* list);
  void absorbJournal();  // follows handles through the journal's new entries, checking each
  void checkRefusal(const sim::Entry& e);
  void clearJournal();   // the same, then empties the journal
  void resetPlatform();  // the simulator back to power-on

  [[noreturn]] void fail(const std::string& what);
  void setPhase(const std::string& p) { phase = p; }
  std::string phase;
  std::string current;  // description of the call in progress
  int registryBase = 0;
  long long diagLines = 0;
  // Platform objects made by create calls, followed through the journal. An
  // object is excused from the ownership check once the platform refused to
  // destroy it (a started channel, a bound group): its owner did try.
  struct Owned {
    std::string target;  // see targetOf in harness.cpp
    bool excused;
  };
  std::map<sim::Key, Owned> owned;
  std::map<std::string, bool> handles;  // handle-named objects (pools) -> excused
  size_t absorbed = 0;                 // journal entries already followed
  bool injectLeak = false;  // self-check: a platform object nobody owns

 private:
  void walk();
  void probe(int target, const Arg* self, int selfRecipe, const std::vector<Arg>& args);
  std::vector<Arg> learnFromJournal(int target, const std::vector<Arg>& args, int selfRecipe);
  void pushMutated(int src, Rng& r, bool mutate, int depth);
  int addToCorpus(int idx);  // copies a plain table into root.corpus; its index or -1
  void describeCall(int target, const Arg* self, const std::vector<Arg>& args);
  void checkDiagnostics();
};

// True when name is a platform function that returns the handle of what it
// made; its failure is the invalid handle, stored in *invalid.
bool handleCreate(const std::string& name, long long* invalid);

// Phases, run by main.
void runFuzz(Harness& h, long long iterations, long long firstRound, long long onlyRound);
// survey: print kRecorded lines for shapes that are not documented instead
// of failing (for maintainers, after a deliberate change).
void runSweep(Harness& h, bool survey);

// Results as a short shape text ("nil,msg(code)", "code", "true", ...).
std::string shapeOf(const Outcome& o, std::int32_t code);

}  // namespace robust
