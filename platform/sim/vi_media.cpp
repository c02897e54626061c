// What capture channels capture: each enabled channel makes pictures of its
// destination size and pixel format at its frame rate, from a moving test
// pattern, and hands them to the objects bound to it and to its own queue
// for GetFrame (as deep as its frame depth).
#include <climits>
#include <deque>
#include <map>

#include "media/media.h"
#include "media/pattern.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VIU;
// At most this much is caught up at once in virtual time (in real time,
// two pictures: a machine too busy for the pictures drops the rest).
constexpr std::int64_t kCatchUp = 1000000;

struct Capture {
  std::int64_t next = INT64_MIN;  // when the next picture is due; MIN: not yet started
  std::uint32_t frames = 0;
  std::deque<media::PicturePtr> queue;
  media::MutablePicture bars;  // what every picture starts from
  std::shared_ptr<media::VideoFile> file;  // sim.source: a file instead of the pattern
};

std::map<int, Capture> g_captures;  // by channel
const bool g_reset = (on_reset([] { g_captures.clear(); }), true);

Key chnKeyOf(VI_CHN chn) { return address(Key{kMod, 0, chn}); }

std::uint32_t depthOf(const Object& o) {
  HI_U32 depth = 0;
  o.get("FrameDepth", &depth);
  return depth;
}

std::int64_t periodOf(const Object& o) {
  VI_CHN_ATTR_S a{};
  o.get("ChnAttr", &a);
  const int fps = a.s32DstFrameRate > 0 ? a.s32DstFrameRate : a.s32SrcFrameRate > 0 ? a.s32SrcFrameRate : 30;
  return 1000000 / fps;
}

// Enabled channels whose pictures someone takes, of a size and format that
// pictures are made in.
bool wanted(const Key& k, const Object& o) {
  VI_CHN_ATTR_S a{};
  o.get("ChnAttr", &a);
  return o.enabled && media::modelled(a.enPixFormat) && a.stDestSize.u32Width && a.stDestSize.u32Height &&
         (depthOf(o) > 0 || media::wanted(k));
}

media::PicturePtr capture(const Key& k, const Object& o, Capture& c, std::int64_t at) {
  VI_CHN_ATTR_S a{};
  o.get("ChnAttr", &a);
  if (c.file) {
    auto pic = media::Picture::make(a.stDestSize.u32Width, a.stDestSize.u32Height, a.enPixFormat);
    if (!pic || !c.file->next(pic.get())) return nullptr;
    media::check_pool(k, *pic);
    pic->pts = static_cast<std::uint64_t>(at);
    pic->seq = c.frames;
    return pic;
  }
  if (!c.bars || c.bars->width != a.stDestSize.u32Width || c.bars->height != a.stDestSize.u32Height ||
      c.bars->format != a.enPixFormat) {
    c.bars = media::Picture::make(a.stDestSize.u32Width, a.stDestSize.u32Height, a.enPixFormat);
    if (!c.bars) return nullptr;
    media::draw_bars(*c.bars);
  }
  auto pic = std::make_shared<media::Picture>(*c.bars);
  media::check_pool(k, *pic);
  media::draw_marks(*pic, k.chn, c.frames, at);
  pic->pts = static_cast<std::uint64_t>(at);
  pic->seq = c.frames;
  return pic;
}

void advance(std::int64_t until) {
  for (const Key& k : objects(kMod)) {
    if (k.chn < 0 || k.dev < 0) continue;
    const Object* o = find(k);
    Capture& c = g_captures[k.chn];
    if (!o || !wanted(k, *o)) {
      c.next = INT64_MIN;
      continue;
    }
    const std::int64_t period = periodOf(*o);
    if (c.next == INT64_MIN) c.next = until;
    // Behind real time (a machine busier than the pictures allow), the
    // pictures missed are dropped rather than made in a burst.
    const std::int64_t behind = media::clock() == media::Clock::Real ? 2 * period : kCatchUp;
    if (until - c.next > behind) c.next += (until - c.next - behind) / period * period;
    for (; c.next <= until; c.next += period, ++c.frames) {
      media::PicturePtr pic = capture(k, *o, c, c.next);
      if (!pic) continue;  // nothing this time (a file that stopped playing)
      media::deliver(k, pic);
      if (std::uint32_t depth = depthOf(*o)) {
        c.queue.push_back(pic);
        while (c.queue.size() > depth) c.queue.pop_front();
      }
    }
  }
}

std::int64_t next() {
  std::int64_t due = INT64_MAX;
  for (const Key& k : objects(kMod)) {
    if (k.chn < 0 || k.dev < 0) continue;
    const Object* o = find(k);
    if (!o || !wanted(k, *o)) continue;
    auto it = g_captures.find(k.chn);
    const std::int64_t at = it == g_captures.end() || it->second.next == INT64_MIN ? media::now() : it->second.next;
    if (at < due) due = at;
  }
  return due;
}

// sim.source({"VIU", dev, chn}, path): the channel plays the file instead.
bool setFile(Key target, const char* path, std::string* error) {
  if (target.chn < 0 || target.chn >= VIU_MAX_CHN_NUM) {
    *error = "capture channel " + std::to_string(target.chn) + " outside [0, " + std::to_string(VIU_MAX_CHN_NUM) + ")";
    return false;
  }
  Capture& c = g_captures[target.chn];
  if (!path) {
    c.file.reset();
    return true;
  }
  std::unique_ptr<media::VideoFile> file = media::open_video(path, error);
  if (!file) return false;
  c.file = std::move(file);
  return true;
}

const bool g_source = (media::on_source({&advance, &next}), media::on_file_source(kMod, &setFile), true);

}  // namespace

namespace h {

HI_S32 HI_MPI_VI_GetFrame(VI_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  if (chn < 0 || chn >= VIU_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "capture channel %d outside [0, %d)", chn, VIU_MAX_CHN_NUM);
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  const Key k = chnKeyOf(chn);
  const Object* o = find(k);
  if (!o) return refuse(HI_ERR_VI_FAILED_NOTCONFIG, "capture channel %d has no attributes", chn);
  if (!o->enabled) return refuse(HI_ERR_VI_FAILED_NOTENABLE, "capture channel %d is not enabled", chn);
  if (depthOf(*o) == 0)
    return refuse(err(kMod, NOT_PERM), "capture channel %d has frame depth 0: SetFrameDepth first", chn);
  Capture& c = g_captures[chn];
  if (!media::wait_for([&] { return !c.queue.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no picture from capture channel %d within %d ms", chn, ms);
  media::lend(c.queue.front(), frame);
  c.queue.pop_front();
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_ReleaseFrame(VI_CHN chn, VIDEO_FRAME_INFO_S* frame) {
  if (chn < 0 || chn >= VIU_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "capture channel %d outside [0, %d)", chn, VIU_MAX_CHN_NUM);
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame at 0x%08X is not one lent out (released already?)",
                  frame->stVFrame.u32PhyAddr[0]);
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
