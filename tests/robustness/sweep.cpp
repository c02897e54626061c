// The platform failure sweep: every platform call that some function or
// method makes is made to fail, and the result must be one of the failure
// shapes scripts rely on. Shapes that are none of these are recorded below,
// so that a change shows up.
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>

#include "harness.h"
#include "sim/sim.h"

namespace robust {

std::string shapeOf(const Outcome& o, std::int32_t code) {
  if (o.status != LUA_OK) return "error";
  char tail[32];
  std::snprintf(tail, sizeof tail, " - error=%08X]", static_cast<unsigned>(code));
  const std::string want = tail;
  std::string s;
  for (size_t i = 0; i < o.types.size(); ++i) {
    if (i) s += ",";
    const std::string text = i < o.texts.size() ? o.texts[i] : "";
    switch (o.types[i]) {
      case LUA_TNIL: s += "nil"; break;
      case LUA_TBOOLEAN: s += text; break;
      case LUA_TNUMBER:
        s += text == std::to_string(code) ? "code" : text == "0" ? "0" : "number " + text;
        break;
      case LUA_TSTRING:
        if (text.size() >= want.size() && text.compare(text.size() - want.size(), want.size(), want) == 0)
          s += "msg(code)";
        else if (text.find(" - error=") != std::string::npos) s += "msg(other code)";
        else s += "msg";
        break;
      case LUA_TTABLE: s += "table"; break;
      case LUA_TUSERDATA: s += "object"; break;
      default: s += lua_typename(nullptr, o.types[i]); break;
    }
  }
  return s.empty() ? "none" : s;
}

namespace {

// Failure shapes other than the three documented ones (the integer code, nil
// and a message carrying the code, a single nil), as observed. A failure
// whose shape is neither documented nor listed here, or differs from what is
// listed, is a finding.
struct Recorded {
  const char* call;      // "Class.Static" or "Class:Method"
  const char* platform;  // the failing platform function
  const char* shape;
  const char* why;
};

// 2701033538 is the sweep's failure code A0FE8042 read as an unsigned number.
constexpr const char* kUnsignedCode = "the value or the code, read as an unsigned number";

const Recorded kRecorded[] = {
    {"SYS.Init", "HI_MPI_SYS_SetConf", "0", "the configuration is best effort; Init's own status is returned"},
    {"VENC.ForceFreeChannel", "HI_MPI_VENC_StopRecvPic", "0", "stopping is best effort; the destroy's status is returned"},
    {"VPSS.ForceFreeGroup", "HI_MPI_VPSS_DisableChn", "0", "disabling the channels is best effort"},
    {"VDEC.ForceFreeChannel", "HI_MPI_VDEC_StopRecvStream", "0", "stopping is best effort; the destroy's status is returned"},
    {"VIChannel:GetRotate", "HI_MPI_VI_GetRotate", "0", "the value read is answered; a failure is not reported"},
    {"VIChannel:SetRotate", "HI_MPI_VI_SetRotate", "number -1", "1 or -1, not the platform's code"},
    {"VIChannel:GetSkipMode", "HI_MPI_VI_GetSkipMode", "nil,msg", "its failure text carries no code"},
    {"VODevice:ForceFree", "HI_MPI_VO_DisableChn", "none", "returns nothing; every disabling is best effort"},
    {"VODevice:ForceFree", "HI_MPI_VO_DisableVideoLayer", "none", "returns nothing; every disabling is best effort"},
    {"VOLayer:GetCompress", "HI_MPI_VO_GetVideoLayerCompressAttr", "false", "false also when the platform cannot say"},
    {"VOLayer:UnBind", "HI_MPI_VO_UnBindVideoLayer", "nil,code", "a refused unbinding answers the code without a message"},
    {"VOChannel:ClearBuffer", "HI_MPI_VO_ClearChnBuffer", "nil,code", "nothing on success, nil and the code on failure"},
    {"HDMIInterface:Close", "HI_MPI_HDMI_Stop", "0", "stopping is best effort; the close's status is returned"},
    {"AIDevice:GetPubAttr", "HI_MPI_AI_GetPubAttr", "msg(code)", "a failed read answers its message alone"},
    {"AODevice:GetPubAttr", "HI_MPI_AO_GetPubAttr", "msg(code)", "a failed read answers its message alone"},
    {"AIChannel:EnableVqe", "HI_MPI_AI_EnableVqe", "msg(code)", "a failure answers its message alone"},
    {"AIChannel:DisableVqe", "HI_MPI_AI_DisableVqe", "msg(code)", "a failure answers its message alone"},
    {"AODevice:GetVolume", "HI_MPI_AO_GetVolume", "0", "0 after a diagnostic line"},
    {"AODevice:GetMute", "HI_MPI_AO_GetMute", "false", "false after a diagnostic line"},
    {"InnerCodec:SetADCGain", "ioctl", "false", "true or false: whether the last request sent succeeded"},
    {"InnerCodec:SetDACGain", "ioctl", "false", "true or false: whether the last request sent succeeded"},
    {"InnerCodec:SetMICGain", "ioctl", "false", "true or false: whether the last request sent succeeded"},
    {"InnerCodec:SetMICMute", "ioctl", "false", "true or false: whether the last request sent succeeded"},
    {"InnerCodec:SetDACMute", "ioctl", "false", "true or false: whether the last request sent succeeded"},
    {"VIChannel:Destroy", "HI_MPI_VI_DisableChn", "none", "returns nothing; disabling is best effort"},
    {"VDECChannel:Destroy", "HI_MPI_VDEC_StopRecvStream", "0", "stopping is best effort; the destroy's status is returned"},
    {"Pool:Destroy", "HI_MPI_VB_DestroyPool", "none", "returns nothing; a refused destroy is not reported"},
    {"VENCChannel:GetColor2Grey", "HI_MPI_VENC_GetColor2Grey", "false", "a boolean getter answers false"},
    {"VPSSChannel:SetRotate", "HI_MPI_VPSS_SetChnOverlay", "number 321", "the module's fixed failure value"},
    {"VODevice:GetFrameRate", "HI_MPI_VO_GetDevFrameRate", "number 2701033538", kUnsignedCode},
    {"VODevice:GetVtth", "HI_MPI_VO_GetVtth", "number 2701033538", kUnsignedCode},
    {"VOLayer:GetPriority", "HI_MPI_VO_GetVideoLayerPriority", "number 2701033538", kUnsignedCode},
    {"VOLayer:GetPlayToleration", "HI_MPI_VO_GetPlayToleration", "number 2701033538", kUnsignedCode},
    {"VOLayer:GetDispBufLen", "HI_MPI_VO_GetDispBufLen", "number 2701033538", kUnsignedCode},
    {"VideoFrame:GetData", "HI_MPI_SYS_Mmap", "nil,msg", "a mapping that fails answers no code"},
};

// Calls that answer an address fail by answering none (null), not a code.
bool answersAddress(const std::string& name) { return name == "HI_MPI_SYS_Mmap" || name == "HI_MPI_SYS_MmapCache"; }

const Recorded* recorded(const std::string& call, const std::string& platform) {
  for (const Recorded& r : kRecorded)
    if (r.call && call == r.call && platform == r.platform) return &r;
  return nullptr;
}

// The documented shapes: the integer code (typed bindings), nil and a
// message carrying the code (raw bindings), a single nil (getters of one
// value); and a Create factory's object, which it returns also when the
// platform refused to create (the ownership check then sees nothing made).
bool documented(const std::string& shape, const Target& t) {
  if (shape == "code" || shape == "nil,msg(code)" || shape == "nil") return true;
  return shape == "object" && t.kind == TargetKind::Static && t.name.compare(0, 6, "Create") == 0;
}

}  // namespace

void runSweep(Harness& h, bool survey) {
  const Model& m = h.model;
  const std::int32_t codes[] = {static_cast<std::int32_t>(0xA0FE8042u), 1};
  std::map<std::string, int> shapes;
  std::set<int> functions;
  std::vector<std::string> unreached;
  std::set<std::string> usedRecords;
  int checked = 0;

  for (const PlatformUse& u : m.uses) {
    const Target& t = m.targets[u.target];
    const std::string call =
        m.classes[t.cls].name + (t.kind == TargetKind::Static ? "." : ":") + t.name;
    // A call that returns a handle fails by returning the invalid handle.
    long long invalid = 0;
    std::vector<std::int32_t> failures(std::begin(codes), std::end(codes));
    if (handleCreate(u.name, &invalid)) failures = {static_cast<std::int32_t>(invalid)};
    const bool address = answersAddress(u.name);
    if (address) failures = {0};
    for (std::int32_t code : failures) {
      char phase[512];
      std::snprintf(phase, sizeof phase, "failure sweep: %s with %s failing (code %08X)", call.c_str(),
                    u.name.c_str(), static_cast<unsigned>(code));
      h.setPhase(phase);
      h.resetPlatform();
      Rng rng(1);
      h.buildContext(rng, false);
      Arg self;
      const Arg* selfp = nullptr;
      if (t.kind == TargetKind::Method) {
        for (int k = 0; k < h.objectCount() && !selfp; ++k)
          if (h.objRecipe[k] == u.self) {
            self = Arg::object(k);
            selfp = &self;
          }
        if (!selfp) {
          unreached.push_back(call + " / " + u.name + " (no object)");
          h.dropContext("after the sweep call", true);
          break;
        }
      }

      std::vector<Arg> args = u.args;
      bool found = true;
      for (size_t i = 0; i < args.size() && i < u.argRecipes.size(); ++i) {
        if (u.argRecipes[i] < 0) continue;
        found = false;
        for (int k = 0; k < h.objectCount() && !found; ++k)
          if (h.objRecipe[k] == u.argRecipes[i]) {
            args[i] = Arg::object(k);
            found = true;
          }
        if (!found) break;
      }
      if (!found) {
        unreached.push_back(call + " / " + u.name + " (no object argument)");
        h.dropContext("after the sweep call", true);
        break;
      }

      lua_gc(h.L, LUA_GCSTOP, 0);  // no destructor may take the fault
      h.clearJournal();
      sim::fail(u.name.c_str(), code, 1);
      Outcome o = h.call(u.target, selfp, args);
      bool reached = false;
      for (size_t e = 0; e < sim::journal_size(); ++e) {
        const sim::Entry& entry = sim::journal_entry(e);
        if (entry.name == u.name &&
            (address ? entry.ret.kind == sim::Value::Nil
                     : entry.ret.kind == sim::Value::Int && static_cast<std::int32_t>(entry.ret.i) == code))
          reached = true;
      }
      lua_gc(h.L, LUA_GCRESTART, 0);
      if (!reached) {
        unreached.push_back(call + " / " + u.name);
        h.dropContext("after the sweep call", true);  // the fault may still be pending
        break;
      }

      ++checked;
      functions.insert(u.target);
      std::string shape = shapeOf(o, code);
      if (o.status != LUA_OK) h.fail("a platform failure was raised as a Lua error: " + o.error);
      if (!documented(shape, t)) {
        const Recorded* r = recorded(call, u.name);
        if (survey && (!r || shape != r->shape)) {
          std::printf("    {\"%s\", \"%s\", \"%s\", \"\"},\n", call.c_str(), u.name.c_str(), shape.c_str());
          h.dropContext("after the sweep call", true);
          continue;
        }
        if (!r)
          h.fail("failure shape \"" + shape + "\" is none of the documented ones; if it is intended, "
                 "record it in kRecorded (tests/robustness/sweep.cpp)");
        if (shape != r->shape)
          h.fail("failure shape changed from the recorded \"" + std::string(r->shape) + "\" to \"" + shape + "\"");
        usedRecords.insert(call + " " + u.name);
        shape += " (recorded)";
      }
      ++shapes[shape];
      // A refused destroy leaves the platform object in place, by design.
      bool refusedDestroy = u.name.find("Destroy") != std::string::npos;
      h.dropContext(("after " + call + " failed in " + u.name).c_str(), refusedDestroy);
    }
  }
  h.resetPlatform();

  std::printf("failure sweep: %d failing platform calls checked, behind %zu functions and methods "
              "(codes A0FE8042 and 00000001)\n", checked, functions.size());
  for (const auto& s : shapes) std::printf("  %-32s %d\n", s.first.c_str(), s.second);
  for (const Recorded& r : kRecorded)
    if (r.call && !usedRecords.count(std::string(r.call) + " " + r.platform))
      std::printf("  recorded shape not seen any more: %s / %s\n", r.call, r.platform);
  if (!unreached.empty()) {
    std::printf("failure sweep: %zu platform calls seen in discovery were not reached again:\n", unreached.size());
    for (const std::string& s : unreached) std::printf("  %s\n", s.c_str());
  }
}

}  // namespace robust
