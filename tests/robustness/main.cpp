// tessel_robustness: the argument fuzzer and the platform failure sweep.
//
//   tessel_robustness [--seed N] [--iterations N | --calls-per-method N]
//                     [--round R] [--no-sweep] [--no-fuzz] [--verbose] [--survey]
//                     [--trace] [--inject leak|registry|silent]
//
// --round R runs round R alone (a finding names its round); --trace prints
// every call and the platform calls it made.
//
// Exit status 0 when nothing was found; otherwise the finding, the seed and
// the call are printed and the status is 1 (or the sanitizer's).
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "frame/binding.h"
#include "harness.h"
#include "sim/sim.h"

namespace {

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: tessel_robustness [--seed N] [--iterations N | --calls-per-method N] [--round R]\n"
               "                         [--no-sweep] [--no-fuzz] [--verbose] [--survey] [--trace]\n"
               "                         [--inject leak|registry|silent]\n");
  std::exit(2);
}

// Checks of the harness itself: a platform object made behind the module's
// back, a function that keeps a registry reference and a refusal without a
// reason must all be found.
int keepReference(lua_State* L) {
  lua_newtable(L);
  luaL_ref(L, LUA_REGISTRYINDEX);
  return 0;
}

// A platform call refused without a reason, journaled behind the simulator's back.
int refuseSilently(lua_State*) {
  sim::Entry e;
  e.name = "HI_MPI_VENC_Query";
  e.ret = sim::Value::integer(sim::err(HI_ID_VENC, sim::UNEXIST));
  sim::journal_add(e);
  return 0;
}

// A function of the harness's own, called like any the module registers.
void addTarget(robust::Harness& h, const char* name, lua_CFunction fn) {
  h.model.targets.push_back(robust::Target{robust::TargetKind::Static, 0, name});
  h.model.plausible.emplace_back();
  h.callsPerTarget.push_back(0);
  h.properCallsPerTarget.push_back(0);
  lua_getfield(h.L, robust::kRoot, "targets");
  lua_pushcfunction(h.L, fn);
  lua_rawseti(h.L, -2, static_cast<lua_Integer>(h.model.targets.size()));
  lua_pop(h.L, 1);
}

void inject(robust::Harness& h, const std::string& what) {
  if (what == "leak") {
    h.injectLeak = true;
  } else if (what == "registry") {
    addTarget(h, "KeepsAReference", keepReference);
  } else if (what == "silent") {
    addTarget(h, "RefusesSilently", refuseSilently);
  } else {
    usage();
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t seed = static_cast<std::uint64_t>(
      std::chrono::system_clock::now().time_since_epoch().count()) % 1000000007ull;
  long long iterations = -1, perMethod = -1, round = -1;
  bool sweep = true, fuzz = true, verbose = false, survey = false, trace = false;
  std::string injection;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    auto value = [&]() -> const char* {
      if (i + 1 >= argc) usage();
      return argv[++i];
    };
    if (a == "--seed") seed = std::strtoull(value(), nullptr, 0);
    else if (a == "--iterations") iterations = std::atoll(value());
    else if (a == "--calls-per-method") perMethod = std::atoll(value());
    else if (a == "--round") round = std::atoll(value());
    else if (a == "--no-sweep") sweep = false;
    else if (a == "--no-fuzz") fuzz = false;
    else if (a == "--verbose") verbose = true;
    else if (a == "--survey") survey = true;
    else if (a == "--trace") trace = true;
    else if (a == "--inject") injection = value();
    else usage();
  }

  std::printf("tessel robustness harness, seed %" PRIu64 "\n", seed);
  std::fflush(stdout);
  const auto start = std::chrono::steady_clock::now();
  robust::Harness h(seed, verbose);
  h.discover();

  const robust::Model& m = h.model;
  int functions = 0, withObjects = 0, creating = 0;
  for (const robust::Target& t : m.targets)
    if (t.kind == robust::TargetKind::Static || t.kind == robust::TargetKind::Method) ++functions;
  for (const robust::Class& c : m.classes) withObjects += c.hasObjects;
  for (const robust::Recipe& r : m.recipes) creating += r.creates;
  std::printf("discovered: %zu classes (%d with objects from %zu factories, %d of which create platform "
              "objects), %d functions and methods, %zu platform calls reachable, %d attribute tables learned\n",
              m.classes.size(), withObjects, m.recipes.size(), creating, functions, m.uses.size(),
              m.corpusSize);
  if (verbose)
    for (const robust::Recipe& r : m.recipes)
      std::printf("  factory %s.%s -> %s%s\n", m.classes[m.targets[r.target].cls].name.c_str(),
                  m.targets[r.target].name.c_str(), m.classes[r.produces].name.c_str(),
                  r.creates ? " (creates)" : "");
  if (creating == 0)
    std::printf("note: no factory created a platform object, so the ownership check watches nothing\n");
  std::printf("skipped: %s\n", m.skipped.empty() ? "none" : "");
  for (const std::string& s : m.skipped) std::printf("  %s\n", s.c_str());

  if (!injection.empty()) inject(h, injection);
  h.trace = trace;
  if (sweep) runSweep(h, survey);
  if (fuzz) {
    int fuzzable = 0;
    for (const robust::Target& t : m.targets)
      if (t.kind == robust::TargetKind::Static || t.kind == robust::TargetKind::StaticPropRead ||
          m.classes[t.cls].hasObjects)
        ++fuzzable;
    if (iterations < 0) iterations = (perMethod < 0 ? 200 : perMethod) * fuzzable;
    robust::runFuzz(h, iterations, 0, round);
  }
  const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("no finding: %lld calls in all, %.1f s, seed %" PRIu64 "\n", h.calls, secs, seed);
  return 0;
}
