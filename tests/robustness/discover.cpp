// Discovery: which functions hand out objects, which argument lists reach the
// platform, and what the platform's structures look like (learned from the
// simulator's journal, which records every structure by its field names).
#include <algorithm>
#include <map>
#include <set>

#include "frame/binding.h"
#include "harness.h"
#include "sim/sim.h"

namespace robust {
namespace {

std::string serialize(const sim::Value& v) {
  switch (v.kind) {
    case sim::Value::Nil: return "n";
    case sim::Value::Int: return "i" + std::to_string(v.i);
    case sim::Value::Real: return "r" + std::to_string(v.r);
    case sim::Value::Str: return "s" + v.s;
    case sim::Value::Ptr: return "p";
    case sim::Value::Table: {
      std::string s = "{";
      for (const auto& f : v.fields) s += f.first + "=" + serialize(f.second) + ",";
      return s + "}";
    }
    case sim::Value::Seq: {
      std::string s = "[";
      for (const auto& x : v.items) s += serialize(x) + ",";
      return s + "]";
    }
  }
  return "?";
}

// Pushes the Lua table form of a journaled structure: the keys are the
// platform's field names, as the module's converters expect them.
void pushValue(lua_State* L, const sim::Value& v, std::set<std::string>& nested) {
  switch (v.kind) {
    case sim::Value::Int: lua_pushinteger(L, static_cast<lua_Integer>(v.i)); return;
    case sim::Value::Real: lua_pushnumber(L, v.r); return;
    case sim::Value::Str: lua_pushlstring(L, v.s.data(), v.s.size()); return;
    case sim::Value::Table:
      lua_createtable(L, 0, static_cast<int>(v.fields.size()));
      for (const auto& f : v.fields) {
        if (f.second.kind == sim::Value::Nil || f.second.kind == sim::Value::Ptr) continue;
        if (f.second.kind == sim::Value::Table || f.second.kind == sim::Value::Seq) nested.insert(f.first);
        pushValue(L, f.second, nested);
        lua_setfield(L, -2, f.first.c_str());
      }
      return;
    case sim::Value::Seq:
      lua_createtable(L, static_cast<int>(v.items.size()), 0);
      for (size_t i = 0; i < v.items.size(); ++i) {
        pushValue(L, v.items[i], nested);
        lua_rawseti(L, -2, static_cast<lua_Integer>(i) + 1);
      }
      return;
    default: lua_pushnil(L); return;
  }
}

// A plain table as text with its keys sorted, to tell tables apart.
std::string serializeTable(lua_State* L, int idx, int depth) {
  idx = lua_absindex(L, idx);
  std::vector<std::pair<std::string, std::string>> items;
  lua_pushnil(L);
  while (lua_next(L, idx)) {
    std::string k = lua_type(L, -2) == LUA_TNUMBER ? "#" + std::to_string(lua_tointeger(L, -2))
                    : lua_type(L, -2) == LUA_TSTRING ? std::string(lua_tostring(L, -2)) : "?";
    std::string v;
    switch (lua_type(L, -1)) {
      case LUA_TTABLE: v = depth < 8 ? serializeTable(L, -1, depth + 1) : "{...}"; break;
      case LUA_TNUMBER:
        v = lua_isinteger(L, -1) ? std::to_string(lua_tointeger(L, -1)) : std::to_string(lua_tonumber(L, -1));
        break;
      case LUA_TSTRING: {
        size_t n = 0;
        const char* s = lua_tolstring(L, -1, &n);
        v = "'" + std::string(s, n);
        break;
      }
      case LUA_TBOOLEAN: v = lua_toboolean(L, -1) ? "T" : "F"; break;
      default: v = luaL_typename(L, -1); break;
    }
    items.emplace_back(k, v);
    lua_pop(L, 1);
  }
  std::sort(items.begin(), items.end());
  std::string s = "{";
  for (const auto& i : items) s += i.first + "=" + i.second + ",";
  return s + "}";
}

std::set<std::string> g_seenTemplates;
std::set<std::string> g_nested;
std::set<std::pair<int, std::string>> g_seenUses;

}  // namespace

std::vector<Arg> Harness::learnFromJournal(int target, const std::vector<Arg>& args, int selfRecipe) {
  std::vector<int> learned;
  for (size_t e = 0; e < sim::journal_size(); ++e) {
    const sim::Entry& entry = sim::journal_entry(e);
    for (const sim::Value& v : entry.args) {
      if (v.kind != sim::Value::Table && v.kind != sim::Value::Seq) continue;
      std::string key = serialize(v);
      if (g_seenTemplates.insert(key).second) {
        lua_getfield(L, kRoot, "corpus");
        pushValue(L, v, g_nested);
        lua_rawseti(L, -2, ++model.corpusSize);
        lua_pop(L, 1);
        learned.push_back(model.corpusSize - 1);
      }
    }
  }
  // The argument list with its empty tables replaced by the structures the
  // platform received for them.
  std::vector<Arg> plausible = args;
  size_t next = 0;
  for (Arg& a : plausible)
    if (a.kind == Kind::EmptyTable && next < learned.size()) a = Arg::tmpl(learned[next++]);
  // Objects among the arguments are found again by recipe: another context
  // holds them at other positions.
  std::vector<int> argRecipes;
  for (const Arg& a : plausible)
    argRecipes.push_back(a.kind == Kind::Object && a.i < static_cast<long long>(objRecipe.size())
                             ? objRecipe[a.i] : -1);
  for (size_t e = 0; e < sim::journal_size(); ++e) {
    const std::string& name = sim::journal_entry(e).name;
    if (g_seenUses.insert({target, name}).second)
      model.uses.push_back(PlatformUse{target, plausible, selfRecipe, name, argRecipes});
  }
  return plausible;
}

int Harness::addToCorpus(int idx) {
  idx = lua_absindex(L, idx);
  if (!lua_istable(L, idx)) return -1;
  if (lua_getmetatable(L, idx)) {
    lua_pop(L, 1);
    return -1;
  }
  if (!g_seenTemplates.insert("lua" + serializeTable(L, idx, 0)).second) return -1;
  Rng none(0);
  lua_getfield(L, kRoot, "corpus");
  pushMutated(idx, none, false, 0);
  lua_rawseti(L, -2, ++model.corpusSize);
  lua_pop(L, 1);
  return model.corpusSize - 1;
}

// One discovery call: records a factory when it returns an object, and what
// reached the platform.
void Harness::probe(int target, const Arg* self, int selfRecipe, const std::vector<Arg>& args) {
  clearJournal();
  int before = createdObjects(nullptr);
  int top = lua_gettop(L);
  Outcome o = call(target, self, args, true);
  bool created = createdObjects(nullptr) > before;
  std::vector<Arg> plausible = args;
  if (sim::journal_size() > 0) {
    plausible = learnFromJournal(target, args, selfRecipe);
    if (model.plausible[target].empty()) model.plausible[target] = plausible;
  }
  // Tables a getter answers are what its setter takes.
  if (o.status == LUA_OK && !o.types.empty() && o.types[0] == LUA_TTABLE) addToCorpus(top + 1);
  int cls = o.status == LUA_OK && !o.firstClass.empty() ? model.classIndex(o.firstClass) : -1;
  if (cls >= 0) {
    const Target& t = model.targets[target];
    int r = -1;
    for (size_t i = 0; i < model.recipes.size(); ++i)
      if (model.recipes[i].target == target) r = static_cast<int>(i);
    if (r < 0) {
      model.recipes.push_back(Recipe{target, t.kind == TargetKind::Method ? t.cls : -1, plausible, cls});
      model.classes[cls].hasObjects = true;
      r = static_cast<int>(model.recipes.size()) - 1;
    } else if (created && !model.recipes[r].creates) {
      // A factory is best replayed with arguments that made a platform object.
      model.recipes[r].args = plausible;
    }
    if (created) model.recipes[r].creates = true;
  }
  lua_settop(L, top);
  lua_gc(L, LUA_GCCOLLECT, 0);
  clearJournal();
}

void Harness::discover() {
  setPhase("discovery");
  walk();
  model.plausible.assign(model.targets.size(), {});
  registryBase = Tessel::registrySize(L);
  resetPlatform();
  lua_gc(L, LUA_GCSTOP, 0);

  const Arg E{Kind::EmptyTable, 0, 0};
  const Arg word{Kind::Str, 3 + 8 * 9, 0};  // "VENC"
  const std::vector<std::vector<Arg>> plain = {
      {}, {Arg::integer(0)}, {Arg::integer(1)}, {Arg::integer(0), Arg::integer(0)},
      {Arg::integer(0), Arg::integer(0), Arg::integer(0)}, {E}, {Arg::integer(0), E},
      {Arg::integer(1), E}, {Arg::integer(0), Arg::integer(0), E}, {word}, {Arg{Kind::True, 0, 0}},
      {Arg::integer(0), Arg::integer(1)}, {Arg::integer(1024), Arg::integer(2), Arg{Kind::Str, 0, 0}},
  };

  // The seeds' tables open the corpus.
  lua_getfield(L, kRoot, "seeds");
  lua_getfield(L, -1, "tables");
  int seedTables = 0;
  if (lua_istable(L, -1))
    for (lua_Integer i = 1; lua_rawgeti(L, -1, i) == LUA_TTABLE; ++i) {
      addToCorpus(-1);
      lua_pop(L, 1);
      ++seedTables;
    }
  lua_settop(L, kRoot);
  std::vector<std::vector<Arg>> seeded = plain;
  for (int i = 0; i < seedTables; ++i)
    for (long long n : {-1LL, 0LL, 1LL}) {
      std::vector<Arg> args;
      if (n >= 0) args.push_back(Arg::integer(n));
      args.push_back(Arg::tmpl(i));
      seeded.push_back(args);
    }

  Rng rng(1);
  // Static functions alone first: they hand out the first objects.
  buildContext(rng, false);
  for (size_t t = 0; t < model.targets.size(); ++t)
    if (model.targets[t].kind == TargetKind::Static)
      for (const auto& args : seeded) probe(static_cast<int>(t), nullptr, -1, args);

  // Then methods of every class that has objects, and static functions given
  // objects; repeated while new classes of objects turn up. Objects of a class
  // that turns up later (pictures a channel lends) are offered then to the
  // functions probed before, alone or with a 0 after them, in a context of
  // their own: probing either side first would spoil the other's objects (a
  // destroyed group lends nothing, a released picture reaches no platform).
  std::set<int> probedClasses;
  std::set<int> offeredClasses;
  std::map<int, std::vector<int>> byClass;  // class -> context objects (one per recipe)
  auto freshContext = [&] {
    resetPlatform();
    buildContext(rng, false);
    // One object per recipe stands for its class.
    byClass.clear();
    std::set<int> seenRecipes;
    for (int k = 0; k < objectCount(); ++k)
      if (seenRecipes.insert(objRecipe[k]).second) byClass[objClass[k]].push_back(k);
  };
  for (int pass = 0; pass < 6; ++pass) {
    std::set<int> withObjects;
    for (size_t c = 0; c < model.classes.size(); ++c)
      if (model.classes[c].hasObjects) withObjects.insert(static_cast<int>(c));
    bool fresh = false;
    for (int c : withObjects) fresh |= !probedClasses.count(c);
    if (!fresh && pass > 0) break;

    if (pass > 0) {
      freshContext();
      std::vector<std::vector<Arg>> withNew;
      for (const auto& cl : byClass) {
        if (offeredClasses.count(cl.first)) continue;
        withNew.push_back({Arg::object(cl.second.front())});
        withNew.push_back({Arg::object(cl.second.front()), Arg::integer(0)});
      }
      for (int c : probedClasses)
        for (int k : byClass[c]) {
          Arg self = Arg::object(k);
          for (int t : model.classes[c].methods)
            for (const auto& args : withNew) probe(t, &self, objRecipe[k], args);
        }
      for (size_t t = 0; t < model.targets.size(); ++t)
        if (model.targets[t].kind == TargetKind::Static)
          for (const auto& args : withNew) probe(static_cast<int>(t), nullptr, -1, args);
    }

    freshContext();
    std::vector<std::vector<Arg>> withObj;
    for (const auto& cl : byClass) {
      Arg a = Arg::object(cl.second.front());
      withObj.push_back({a});
      withObj.push_back({a, Arg::integer(0)});
      withObj.push_back({a, E});
      withObj.push_back({a, word});
      for (const auto& cl2 : byClass) withObj.push_back({a, Arg::object(cl2.second.front())});
    }
    for (int c : withObjects) {
      if (probedClasses.count(c)) continue;
      // Methods that end an object's life (Destroy, Release) go last, so that
      // the others meet it alive.
      std::vector<int> methods = model.classes[c].methods;
      std::stable_partition(methods.begin(), methods.end(), [&](int t) {
        const std::string& name = model.targets[t].name;
        return name.compare(0, 7, "Destroy") != 0 && name.compare(0, 7, "Release") != 0;
      });
      for (int k : byClass[c]) {
        Arg self = Arg::object(k);
        for (int t : methods) {
          for (const auto& args : seeded) probe(t, &self, objRecipe[k], args);
          for (const auto& args : withObj) probe(t, &self, objRecipe[k], args);
        }
      }
      probedClasses.insert(c);
    }
    if (pass == 0)
      for (size_t t = 0; t < model.targets.size(); ++t)
        if (model.targets[t].kind == TargetKind::Static)
          for (const auto& args : withObj) probe(static_cast<int>(t), nullptr, -1, args);
    for (const auto& cl : byClass) offeredClasses.insert(cl.first);
  }

  // Functions that did not reach the platform yet get every learned
  // structure in the first two positions.
  resetPlatform();
  buildContext(rng, false);
  std::map<int, int> selfOf;  // class -> a context object
  for (int k = objectCount() - 1; k >= 0; --k) selfOf[objClass[k]] = k;
  int learned = model.corpusSize;
  for (size_t t = 0; t < model.targets.size(); ++t) {
    const Target& tg = model.targets[t];
    if (!model.plausible[t].empty()) continue;
    Arg self;
    const Arg* selfp = nullptr;
    int selfRecipe = -1;
    if (tg.kind == TargetKind::Method) {
      if (!selfOf.count(tg.cls)) continue;
      self = Arg::object(selfOf[tg.cls]);
      selfp = &self;
      selfRecipe = objRecipe[selfOf[tg.cls]];
    } else if (tg.kind != TargetKind::Static) {
      continue;
    }
    for (int i = 0; i < learned && model.plausible[t].empty(); ++i) {
      probe(static_cast<int>(t), selfp, selfRecipe, {Arg::tmpl(i)});
      probe(static_cast<int>(t), selfp, selfRecipe, {Arg::integer(0), Arg::tmpl(i)});
    }
  }

  model.nestedKeys.assign(g_nested.begin(), g_nested.end());
  lua_gc(L, LUA_GCRESTART, 0);
  dropContext("after discovery", true);
  resetPlatform();
}

}  // namespace robust
