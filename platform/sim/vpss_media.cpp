// What processing groups do with the pictures bound to them: a started group
// takes a picture no larger than its largest, and each enabled channel
// scales and converts it to its own size and format (its mode's, or the
// picture's own in automatic mode), keeps its frame rate, draws the regions
// attached to it, and hands the result on along its bindings and to its own
// queue for GetChnFrame (as deep as its depth).
#include <deque>
#include <map>
#include <set>

#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VPSS;

struct Output {
  std::deque<media::PicturePtr> queue;
  std::uint32_t in = 0;  // pictures offered, for the frame rate
};

std::map<Key, Output> g_outputs;
std::set<std::pair<Key, Key>> g_reported;  // oversized sources, once each
const bool g_reset = (on_reset([] {
                        g_outputs.clear();
                        g_reported.clear();
                      }),
                      true);

std::uint32_t depthOf(const Object& o) {
  HI_U32 depth = 0;
  o.get("Depth", &depth);
  return depth;
}

// Frame-rate control: of src pictures a second, dst pass (evenly).
bool passes(std::uint32_t n, HI_S32 src, HI_S32 dst) {
  if (src <= 0 || dst <= 0 || dst >= src) return true;
  return (static_cast<std::int64_t>(n) * dst) / src != (static_cast<std::int64_t>(n + 1) * dst) / src;
}

void output(VPSS_GRP grp, VPSS_CHN chn, const Object& o, const media::PicturePtr& in) {
  const Key k{kMod, grp, chn};
  const std::uint32_t depth = depthOf(o);
  if (depth == 0 && !media::wanted(k)) return;
  VPSS_CHN_MODE_S mode{};
  const bool user = o.get("ChnMode", &mode) && mode.enChnMode == VPSS_CHN_MODE_USER;
  Output& out = g_outputs[k];
  const std::uint32_t n = out.in++;
  if (user && !passes(n, mode.stFrameRate.s32SrcFrmRate, mode.stFrameRate.s32DstFrmRate)) return;
  const std::uint32_t w = user && mode.u32Width ? mode.u32Width : in->width;
  const std::uint32_t h = user && mode.u32Height ? mode.u32Height : in->height;
  const PIXEL_FORMAT_E f = user && media::modelled(mode.enPixelFormat) ? mode.enPixelFormat : in->format;
  media::PicturePtr done = in;
  // A picture the channel does not change is handed on as it is.
  if (w != in->width || h != in->height || f != in->format || media::drawn(k)) {
    auto pic = media::Picture::make(w, h, f);
    if (!pic) return;
    if (w == in->width && h == in->height && f == in->format) pic->bytes() = in->bytes();
    else media::scale(*in, nullptr, pic.get());
    pic->pts = in->pts;
    pic->seq = in->seq;
    media::draw(k, *pic);
    done = pic;
  }
  media::check_pool(k, *done);
  media::deliver(k, done);
  if (depth) {
    out.queue.push_back(done);
    while (out.queue.size() > depth) out.queue.pop_front();
  }
}

void receive(Key at, const media::PicturePtr& pic) {
  const VPSS_GRP grp = at.dev;
  const Object* g = find(Key{kMod, grp, -1});
  if (!g || !g->started) return;
  VPSS_GRP_ATTR_S attr{};
  g->get("GrpAttr", &attr);
  if (pic->width > attr.u32MaxW || pic->height > attr.u32MaxH) {
    Key src;
    source_of(at, &src);
    if (g_reported.insert({src, at}).second)
      finding("source-larger-than-destination",
              label(src) + " sends " + std::to_string(pic->width) + "x" + std::to_string(pic->height) + " to " +
                  label(Key{kMod, grp, -1}) + ", whose largest picture is " + std::to_string(attr.u32MaxW) + "x" +
                  std::to_string(attr.u32MaxH) + ": the pictures are dropped");
    return;
  }
  for (VPSS_CHN chn = 0; chn < VPSS_MAX_CHN_NUM; ++chn) {
    const Object* o = find(Key{kMod, grp, chn});
    if (o && o->enabled) output(grp, chn, *o, pic);
  }
}

// A started group takes pictures while one of its enabled channels is
// wanted (bound onwards to a taker, or with a depth).
bool wants(Key at) {
  const Object* g = find(Key{kMod, at.dev, -1});
  if (!g || !g->started) return false;
  for (VPSS_CHN chn = 0; chn < VPSS_MAX_CHN_NUM; ++chn) {
    const Object* o = find(Key{kMod, at.dev, chn});
    if (o && o->enabled && (depthOf(*o) > 0 || media::wanted(Key{kMod, at.dev, chn}))) return true;
  }
  return false;
}

const bool g_receiver = (media::on_picture(kMod, &receive, &wants), true);

HI_S32 channelOf(VPSS_GRP grp, VPSS_CHN chn, const Object** o) {
  if (grp < 0 || grp >= VPSS_MAX_GRP_NUM)
    return refuse(err(kMod, INVALID_DEVID), "VPSS group %d outside [0, %d)", grp, VPSS_MAX_GRP_NUM);
  if (chn < 0 || chn >= VPSS_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "VPSS channel %d outside [0, %d)", chn, VPSS_MAX_CHN_NUM);
  if (!find(Key{kMod, grp, -1})) return refuse(err(kMod, UNEXIST), "VPSS group %d does not exist", grp);
  *o = find(Key{kMod, grp, chn});
  return HI_SUCCESS;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_VPSS_GetChnFrame(VPSS_GRP grp, VPSS_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(grp, chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  if (!o || depthOf(*o) == 0)
    return refuse(err(kMod, NOT_PERM), "VPSS %d/%d has depth 0: SetDepth first", grp, chn);
  Output& out = g_outputs[Key{kMod, grp, chn}];
  if (!media::wait_for([&] { return !out.queue.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no picture from VPSS %d/%d within %d ms", grp, chn, ms);
  media::lend(out.queue.front(), frame);
  out.queue.pop_front();
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_ReleaseChnFrame(VPSS_GRP grp, VPSS_CHN chn, VIDEO_FRAME_INFO_S* frame) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(grp, chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame at 0x%08X is not one lent out (released already?)",
                  frame->stVFrame.u32PhyAddr[0]);
  return HI_SUCCESS;
}

// A picture from the script enters the group as a bound one would.
HI_S32 HI_MPI_VPSS_SendFrame(VPSS_GRP grp, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(grp, 0, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  const Object* g = find(Key{kMod, grp, -1});
  if (!g->started) return refuse(err(kMod, NOT_PERM), "VPSS group %d is not started", grp);
  media::PicturePtr pic = media::read_frame(*frame);
  if (!pic)
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame's addresses or pixel format (%d) name no picture",
                  frame->stVFrame.enPixelFormat);
  receive(Key{kMod, grp, 0}, pic);
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
