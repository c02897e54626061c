// The platform's control-plane state: objects, bindings, and reset.
#include <cstdio>

#include "core/internal.h"
#include "sim/sim.h"

namespace sim {
namespace {

struct State {
    std::map<Key, Object> objects;
    std::map<Key, Key> sources;  // destination -> source
    std::vector<void (*)()> reset_hooks;
};

State& state() {
    static State s;
    return s;
}

const char* module_name(int mod) {
    switch (mod) {
    case HI_ID_VB: return "VB";
    case HI_ID_SYS: return "SYS";
    case HI_ID_RGN: return "RGN";
    case HI_ID_VDEC: return "VDEC";
    case HI_ID_VPSS: return "VPSS";
    case HI_ID_VENC: return "VENC";
    case HI_ID_VOU: return "VOU";
    case HI_ID_VIU: return "VIU";
    case HI_ID_AI: return "AI";
    case HI_ID_AO: return "AO";
    case HI_ID_HDMI: return "HDMI";
    default: return nullptr;
    }
}

std::string node_id(const Key& k) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "\"%d_%d_%d\"", k.mod, k.dev, k.chn);
    return buf;
}

}  // namespace

Object* find(Key k) {
    auto it = state().objects.find(k);
    return it == state().objects.end() ? nullptr : &it->second;
}

Object& obtain(Key k) { return state().objects[k]; }

void destroy(Key k) {
    State& s = state();
    s.objects.erase(k);
    for (auto it = s.sources.begin(); it != s.sources.end();)
        it = (it->first == k || it->second == k) ? s.sources.erase(it) : std::next(it);
}

std::vector<Key> objects(int mod) {
    std::vector<Key> out;
    for (const auto& o : state().objects)
        if (o.first.mod == mod) out.push_back(o.first);
    return out;
}

std::vector<Key> objects() {
    std::vector<Key> out;
    for (const auto& o : state().objects) out.push_back(o.first);
    return out;
}

std::string label(Key k) {
    char buf[64];
    const char* name = module_name(k.mod);
    int n = name ? std::snprintf(buf, sizeof buf, "%s %d", name, k.dev)
                 : std::snprintf(buf, sizeof buf, "module %d %d", k.mod, k.dev);
    if (k.chn >= 0) std::snprintf(buf + n, sizeof buf - n, "/%d", k.chn);
    return buf;
}

std::vector<std::pair<Key, Key>> bindings() {
    std::vector<std::pair<Key, Key>> out;
    for (const auto& b : state().sources) out.emplace_back(b.second, b.first);
    return out;
}

bool bind(Key src, Key dst) {
    return state().sources.emplace(dst, src).second;
}

bool unbind(Key src, Key dst) {
    auto it = state().sources.find(dst);
    if (it == state().sources.end() || !(it->second == src)) return false;
    state().sources.erase(it);
    return true;
}

bool source_of(Key dst, Key* src) {
    auto it = state().sources.find(dst);
    if (it == state().sources.end()) return false;
    *src = it->second;
    return true;
}

std::vector<Key> destinations(Key src) {
    std::vector<Key> out;
    for (const auto& b : state().sources)
        if (b.second == src) out.push_back(b.first);
    return out;
}

std::string dot() {
    std::string out = "digraph platform {\n";
    char label[96];
    for (const auto& o : state().objects) {
        const Key& k = o.first;
        if (k.dev < 0 || k.chn < 0) continue;
        const char* name = module_name(k.mod);
        if (name)
            std::snprintf(label, sizeof label, "%s %d/%d", name, k.dev, k.chn);
        else
            std::snprintf(label, sizeof label, "module %d %d/%d", k.mod, k.dev, k.chn);
        out += "  " + node_id(k) + " [label=\"" + label + "\"" +
               (o.second.started || o.second.enabled ? "" : ", style=dashed") + "];\n";
    }
    for (const auto& b : state().sources)
        out += "  " + node_id(b.second) + " -> " + node_id(b.first) + ";\n";
    return out + "}\n";
}

void on_reset(void (*fn)()) { state().reset_hooks.push_back(fn); }

void reset() {
    State& s = state();
    s.objects.clear();
    s.sources.clear();
    journal_clear();
    findings_clear();
    clear_faults();
    codec_reset();
    for (auto fn : s.reset_hooks) fn();
}

}  // namespace sim
