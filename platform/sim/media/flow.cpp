// Pictures along bindings, the sources that make them, and waiting.
#include <algorithm>
#include <climits>
#include <map>
#include <vector>

#include "media/internal.h"
#include "media/media.h"

namespace sim {
namespace media {
namespace {

struct Receiver {
    void (*receive)(Key, const PicturePtr&);
    bool (*wants)(Key);
};

std::map<int, Receiver>& receivers() {
    static std::map<int, Receiver> r;
    return r;
}

std::vector<Source>& sources() {
    static std::vector<Source> s;
    return s;
}

const bool g_reset = (on_reset(&reset_clock), true);

}  // namespace

void on_picture(int mod, void (*receive)(Key, const PicturePtr&), bool (*wants)(Key)) {
    receivers()[mod] = Receiver{receive, wants};
}

void deliver(Key from, const PicturePtr& pic) {
    for (const Key& to : destinations(from)) {
        auto it = receivers().find(to.mod);
        if (it != receivers().end()) it->second.receive(to, pic);
    }
}

bool wanted(Key from) {
    for (const Key& to : destinations(from)) {
        auto it = receivers().find(to.mod);
        if (it != receivers().end() && (!it->second.wants || it->second.wants(to))) return true;
    }
    return false;
}

namespace {
void (*g_draw)(Key, Picture&) = nullptr;
bool (*g_drawn)(Key) = nullptr;
}  // namespace

void on_draw(void (*fn)(Key, Picture&), bool (*any)(Key)) {
    g_draw = fn;
    g_drawn = any;
}

void draw(Key at, Picture& pic) {
    if (g_draw) g_draw(at, pic);
}

bool drawn(Key at) { return g_drawn && g_drawn(at); }

namespace {
std::map<int, bool (*)(Key, const char*, std::string*)>& fileSources() {
    static std::map<int, bool (*)(Key, const char*, std::string*)> f;
    return f;
}
}  // namespace

void on_file_source(int mod, bool (*set)(Key, const char*, std::string*)) { fileSources()[mod] = set; }

bool set_file_source(Key target, const char* path, std::string* error) {
    auto it = fileSources().find(target.mod);
    if (it == fileSources().end()) {
        *error = label(target) + " takes no source";
        return false;
    }
    return it->second(target, path, error);
}

void on_source(const Source& s) { sources().push_back(s); }

void pump() {
    const std::int64_t t = now();
    for (const Source& s : sources()) s.advance(t);
}

std::int64_t due_next() {
    std::int64_t next = INT64_MAX;
    for (const Source& s : sources()) next = std::min(next, s.next());
    return next;
}

constexpr int kVirtualSteps = 1000;

bool wait_for(const std::function<bool()>& ready, int timeout_ms) {
    pump();
    if (ready()) return true;
    if (timeout_ms == 0) return false;
    const std::int64_t deadline = timeout_ms < 0 ? INT64_MAX : now() + static_cast<std::int64_t>(timeout_ms) * 1000;
    // In virtual time a wait that sees nothing arrive in this many steps
    // (half a minute of pictures) ends as a timeout would, rather than
    // running the sources for ever on behalf of something nothing feeds.
    int steps = kVirtualSteps;
    for (;;) {
        if (clock() == Clock::Virtual && --steps < 0) return false;
        const std::int64_t due = due_next();
        // Nothing will ever come: a virtual wait without limit ends here.
        if (due == INT64_MAX && (deadline == INT64_MAX || clock() == Clock::Virtual)) {
            if (deadline != INT64_MAX) advance_to(deadline);
            return false;
        }
        advance_to(std::min(std::max(due, now() + 1), deadline));
        pump();
        if (ready()) return true;
        if (now() >= deadline) return false;
    }
}

}  // namespace media
}  // namespace sim
