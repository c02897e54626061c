// The argument fuzzer: rounds of calls to every function, method and
// property with generated arguments. Each round starts from a reset
// simulator and fresh objects, and ends by dropping them all and checking
// that nothing they made on the platform is left.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <map>

#include "harness.h"
#include "sim/sim.h"

namespace robust {
namespace {

std::uint64_t roundSeed(std::uint64_t seed, long long round) {
  Rng r(seed ^ (0xD1B54A32D192ED03ull * static_cast<std::uint64_t>(round + 1)));
  return r.next();
}

// Arguments for one call: often the plausible list of the target with one
// position changed, more or fewer values; otherwise a random list.
std::vector<Arg> makeArgs(Harness& h, Rng& r, int target) {
  const std::vector<Arg>& plausible = h.model.plausible[target];
  std::vector<Arg> args;
  if (!plausible.empty() && r.chance(50)) {
    args = plausible;
    for (Arg& a : args)
      if (a.kind == Kind::Template && r.chance(70)) a.f = static_cast<double>(1 + r.below(1u << 30));
    if (r.chance(60)) args[r.below(static_cast<std::uint32_t>(args.size()))] = h.randomArg(r);
    if (r.chance(15)) args.push_back(h.randomArg(r));
    if (r.chance(15)) args.pop_back();
    return args;
  }
  int n = static_cast<int>(r.chance(70) ? r.below(4) : r.below(8));
  for (int i = 0; i < n; ++i) args.push_back(h.randomArg(r));
  return args;
}

}  // namespace

void runFuzz(Harness& h, long long iterations, long long firstRound, long long onlyRound) {
  Model& m = h.model;
  // Everything callable: static functions always, instance members of the
  // classes some factory hands out.
  std::vector<int> targets;
  std::vector<std::string> uncovered;
  for (size_t t = 0; t < m.targets.size(); ++t) {
    const Target& tg = m.targets[t];
    bool instance = tg.kind == TargetKind::Method || tg.kind == TargetKind::PropRead ||
                    tg.kind == TargetKind::PropWrite;
    if (instance && !m.classes[tg.cls].hasObjects) {
      if (tg.kind == TargetKind::Method)
        uncovered.push_back(m.classes[tg.cls].name + ":" + tg.name);
      continue;
    }
    targets.push_back(static_cast<int>(t));
  }
  if (!uncovered.empty()) {
    std::printf("not fuzzed (no factory hands out an object of the class): %zu methods\n", uncovered.size());
    for (const std::string& u : uncovered) std::printf("  %s\n", u.c_str());
  }
  if (targets.empty()) return;

  const long long perRound = std::max<long long>(500, 4 * static_cast<long long>(targets.size()));
  const auto start = std::chrono::steady_clock::now();
  long long made = 0, raised = 0, reached = 0;
  std::map<std::string, long long> errors;  // --verbose: what the calls answered
  std::vector<int> ofClass;
  for (long long round = onlyRound >= 0 ? onlyRound : firstRound; made < iterations; ++round) {
    h.setPhase("fuzz round " + std::to_string(round) + " (--round " + std::to_string(round) + ")");
    Rng r(roundSeed(h.seed, round));
    h.resetPlatform();
    h.buildContext(r, true);

    std::vector<int> order = targets;
    for (size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[r.below(static_cast<std::uint32_t>(i))]);
    for (long long k = 0; k < perRound && made < iterations; ++k, ++made) {
      int t = order[static_cast<size_t>(k % static_cast<long long>(order.size()))];
      const Target& tg = m.targets[t];
      Arg self;
      const Arg* selfp = nullptr;
      if (tg.kind == TargetKind::Method || tg.kind == TargetKind::PropRead || tg.kind == TargetKind::PropWrite) {
        ofClass.clear();
        for (int o = 0; o < h.objectCount(); ++o)
          if (h.objClass[o] == tg.cls) ofClass.push_back(o);
        if (!ofClass.empty() && r.chance(85)) {
          self = Arg::object(ofClass[r.below(static_cast<std::uint32_t>(ofClass.size()))]);
          selfp = &self;
        } else if (r.chance(90)) {
          self = h.randomArg(r);
          selfp = &self;
        }
      }
      Outcome o = h.call(t, selfp, makeArgs(h, r, t));
      if (o.status != LUA_OK) {
        ++raised;
        if (h.verbose) ++errors[o.error.substr(0, 70)];
      } else if (h.verbose && o.secondStr.size()) {
        ++errors["nil, " + o.secondStr.substr(0, 64)];
      }
      if (sim::journal_size() > 0) ++reached;
      h.clearJournal();
    }
    h.dropContext(("at the end of round " + std::to_string(round)).c_str());
    if (onlyRound >= 0) break;
  }

  const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  int methods = 0, covered = 0, props = 0, propsCovered = 0;
  for (int t : targets) {
    const Target& tg = m.targets[t];
    bool fn = tg.kind == TargetKind::Static || tg.kind == TargetKind::Method;
    (fn ? methods : props)++;
    if (h.properCallsPerTarget[t] > 0) (fn ? covered : propsCovered)++;
  }
  std::printf("fuzz: %lld calls in %.1f s (%.0f calls/s), seed %" PRIu64 "\n", made, secs,
              secs > 0 ? static_cast<double>(made) / secs : 0.0, h.seed);
  std::printf("fuzz: functions and methods covered: %d of %d registered; property accesses covered: %d of %d\n",
              covered, methods + static_cast<int>(uncovered.size()), propsCovered, props);
  std::printf("fuzz: %.0f%% of the calls reached the platform, %.0f%% raised a Lua error\n",
              made ? 100.0 * static_cast<double>(reached) / static_cast<double>(made) : 0.0,
              made ? 100.0 * static_cast<double>(raised) / static_cast<double>(made) : 0.0);
  std::printf("fuzz: %lld diagnostic lines checked\n", h.diagLines);
  if (h.verbose) {
    std::vector<std::pair<long long, std::string>> top;
    for (const auto& e : errors) top.emplace_back(-e.second, e.first);
    std::sort(top.begin(), top.end());
    for (size_t i = 0; i < top.size() && i < 40; ++i) std::printf("  %8lld  %s\n", -top[i].first, top[i].second.c_str());
  }
}

}  // namespace robust
