// The platform's control-plane state: objects, bindings, and reset.
#include <cstdio>
#include <functional>
#include <set>

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
    case kVoDevices: return "VO";
    case HI_ID_VIU: return "VIU";
    case HI_ID_AI: return "AI";
    case HI_ID_AO: return "AO";
    case HI_ID_AENC: return "AENC";
    case HI_ID_ADEC: return "ADEC";
    case HI_ID_HDMI: return "HDMI";
    default: return nullptr;
    }
}

// Modules whose channels live inside a numbered container (a processing
// group, a display layer, an audio device): drawn as one cluster per
// container, titled with the container's own name.
const char* container_of(int mod) {
    switch (mod) {
    case HI_ID_VPSS: return "group";
    case HI_ID_VOU: return "layer";
    case kVoDevices: return "device";
    case HI_ID_VIU: return "device";
    case HI_ID_AI:
    case HI_ID_AO: return "device";
    default: return nullptr;
    }
}

// A display address bound as a source is the write-back unit, drawn as a
// node of its own.
bool is_writeback(const Key& k) { return k.mod == kVoWriteback.mod; }

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
    char buf[80];
    const char* name = module_name(k.mod);
    if (!name) {
        std::snprintf(buf, sizeof buf, "module %d %d", k.mod, k.dev);
    } else if (k.chn < 0 && container_of(k.mod)) {
        std::snprintf(buf, sizeof buf, "%s %s %d", name, container_of(k.mod), k.dev);
    } else {
        int n = std::snprintf(buf, sizeof buf, "%s %d", name, k.dev);
        if (k.chn >= 0) std::snprintf(buf + n, sizeof buf - n, "/%d", k.chn);
    }
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

namespace {

// created: exists, never ran; running: enabled or started; stopped: ran before.
const char* state_style(const Object* o) {
    if (!o) return "style=dotted, color=gray40";  // known only from a binding
    if (o->started || o->enabled) return "style=\"bold,filled\", fillcolor=palegreen";
    if (o->started.ever() || o->enabled.ever()) return "style=filled, fillcolor=gray85";
    return "style=dashed";
}

// The same states for a cluster's frame.
const char* frame_style(const Object* o) {
    if (!o) return "style=dotted; color=gray40";
    if (o->started || o->enabled) return "style=bold; color=darkgreen";
    if (o->started.ever() || o->enabled.ever()) return "style=filled; fillcolor=gray95";
    return "style=dashed";
}

std::string node(const Key& k, const Object* o, const char* indent) {
    return std::string(indent) + node_id(k) + " [label=\"" + label(k) + "\", " + state_style(o) + "];\n";
}

}  // namespace

std::string dot() {
    const State& s = state();
    std::string out = "digraph platform {\n  rankdir=LR;\n  node [shape=box, fontname=\"sans\"];\n";
    // Every drawn key: existing objects, and binding ends without one.
    std::map<Key, const Object*> drawn;
    for (const auto& o : s.objects)
        if (o.first.dev >= 0 && o.first.chn >= 0) drawn[o.first] = &o.second;
    bool writeback = false;
    for (const auto& b : s.sources) {
        if (!drawn.count(b.first)) drawn[b.first] = nullptr;
        if (is_writeback(b.second)) writeback = true;
        else if (!drawn.count(b.second)) drawn[b.second] = nullptr;
    }
    if (writeback) {
        auto w = s.objects.find(kVoWriteback);
        out += "  \"writeback\" [label=\"VO write-back\", " +
               std::string(state_style(w == s.objects.end() ? nullptr : &w->second)) + "];\n";
    }
    std::string marks;  // objects drawn into channels (regions), and their dotted edges
    for (const auto& o : s.objects) {
        if (o.second.attached.empty()) continue;
        marks += "  " + node_id(o.first) + " [label=\"" + label(o.first) + "\", shape=note];\n";
        for (const Key& k : o.second.attached) {
            if (!drawn.count(k)) drawn[k] = find(k);
            marks += "  " + node_id(o.first) + " -> " + node_id(k) + " [style=dotted, arrowhead=none];\n";
        }
    }

    // Containers (a group, a layer, a device) as clusters holding their
    // channels, nested in the container their object names as its parent
    // (a display layer in its device).
    std::map<Key, std::string> nodes;  // container -> its channels' node lines
    std::map<Key, std::vector<Key>> inner;
    std::set<Key> nested;
    for (const auto& d : drawn) {
        const Key& k = d.first;
        if (container_of(k.mod))
            nodes[Key{k.mod, k.dev, -1}] += node(k, d.second, "");
        else
            out += node(k, d.second, "  ");
    }
    for (const auto& o : s.objects)
        if (o.first.chn < 0 && o.first.dev >= 0 && container_of(o.first.mod) && o.second.hasParent) {
            nodes[o.first];
            nodes[o.second.parent];
            inner[o.second.parent].push_back(o.first);
            nested.insert(o.first);
        }
    std::function<void(const Key&, const std::string&)> cluster = [&](const Key& box, const std::string& indent) {
        auto it = s.objects.find(box);
        const Object* o = it == s.objects.end() ? nullptr : &it->second;
        out += indent + "subgraph \"cluster_" + std::to_string(box.mod) + "_" + std::to_string(box.dev) + "\" {\n" +
               indent + "  label=\"" + label(box) + "\";\n" + indent + "  " + frame_style(o) + ";\n";
        std::string lines = nodes[box];
        for (size_t p = 0; p < lines.size();) {
            size_t e = lines.find('\n', p);
            out += indent + "  " + lines.substr(p, e - p + 1);
            p = e + 1;
        }
        for (const Key& child : inner[box]) cluster(child, indent + "  ");
        out += indent + "}\n";
    };
    for (const auto& n : nodes)
        if (!nested.count(n.first)) cluster(n.first, "  ");
    for (const auto& b : s.sources)
        out += "  " + (is_writeback(b.second) ? std::string("\"writeback\"") : node_id(b.second)) + " -> " +
               node_id(b.first) + ";\n";
    out += marks;
    out += "  subgraph cluster_legend {\n    label=\"legend\";\n    style=solid;\n"
           "    \"legend_created\" [label=\"created\", style=dashed];\n"
           "    \"legend_running\" [label=\"enabled / started\", style=\"bold,filled\", fillcolor=palegreen];\n"
           "    \"legend_stopped\" [label=\"stopped\", style=filled, fillcolor=gray85];\n"
           "    \"legend_unknown\" [label=\"known from a binding\", style=dotted, color=gray40];\n  }\n";
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
