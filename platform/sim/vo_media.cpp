// What the display shows. A channel shows the latest picture it was given,
// bound or sent (a paused one keeps its picture, and takes one more for each
// step). Nothing is drawn until someone looks (a screenshot, GetScreenFrame,
// a write-back tick): a layer then composes its enabled, shown channels at
// their windows (stRect, moved by SetChnDispPos, cropped by the zoom window)
// in priority order onto its picture (stImageSize), and a device composes
// its enabled layers at their display rectangles onto a screen of its
// timing's size, filled with its background colour. The write-back is a
// source ticking at the display's rate while its destinations take
// pictures: it composes its device or layer at its target size and frame
// rate and hands the picture on (to an encoder, for a screen recording).
#include <pthread.h>

#include <algorithm>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

#include "display.h"
#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VOU;
const Key kWbcOutput{kMod, 0, 0};  // the write-back as a binding source
const Key kHdmi{HI_ID_HDMI, 0, 0};

Key devKey(VO_DEV dev) { return Key{kVoDevices, dev, -1}; }
Key layerKey(VO_LAYER layer) { return Key{kMod, layer, -1}; }

std::map<Key, media::PicturePtr> g_shown;  // by channel
const bool g_reset = (on_reset([] { g_shown.clear(); }), true);

// ---- drawing ----------------------------------------------------------------------

struct Area {
  long long x, y, w, h;
};

// A colour 0xRRGGBB in the platform's video range (BT.601).
void fill(media::Picture& p, HI_U32 rgb) {
  const int r = (rgb >> 16) & 0xFF, g = (rgb >> 8) & 0xFF, b = rgb & 0xFF;
  const std::uint8_t y = static_cast<std::uint8_t>(16 + ((66 * r + 129 * g + 25 * b + 128) >> 8));
  const std::uint8_t u = static_cast<std::uint8_t>(128 + ((-38 * r - 74 * g + 112 * b + 128) >> 8));
  const std::uint8_t v = static_cast<std::uint8_t>(128 + ((112 * r - 94 * g - 18 * b + 128) >> 8));
  std::memset(p.plane(0), y, p.offset[1]);
  std::uint8_t* c = p.plane(1);
  const std::size_t pairs = (p.size() - p.offset[1]) / 2;
  for (std::size_t i = 0; i < pairs; ++i) {
    c[2 * i] = v;  // V before U
    c[2 * i + 1] = u;
  }
}

// What blit reads: a picture's bytes (chroma as VU pairs), or, before they
// are made, its decoder's planar planes, whose U and V rows are paired on
// the way; and the picture's height and rows of chroma.
struct Source {
  const std::uint8_t* plane[3];
  std::ptrdiff_t stride[3];
  bool planar;
  long long height, chromaRows;

  explicit Source(const media::Picture& pic) : height(pic.height), chromaRows(pic.rows[1]) {
    const media::Planes420* p = pic.unmade();
    planar = p != nullptr;
    for (int i = 0; i < 3; ++i) {
      plane[i] = planar ? p->plane[i] : i < 2 ? pic.plane(i) : nullptr;
      stride[i] = planar ? p->stride[i] : i < 2 ? pic.stride[i] : 0;
    }
  }
  const std::uint8_t* luma(long long y) const { return plane[0] + y * stride[0]; }
  // Chroma pairs [from, from + n) of row r, every step-th, into d.
  void chroma(long long r, std::size_t from, std::size_t n, std::size_t step, std::uint16_t* d) const {
    if (!planar) {
      const auto* s = reinterpret_cast<const std::uint16_t*>(plane[1] + r * stride[1]) + from;
      if (step == 1) {
        std::memcpy(d, s, n * 2);
      } else if (step == 2) {
        for (std::size_t i = 0; i < n; ++i) d[i] = s[2 * i];
      } else {
        for (std::size_t i = 0; i < n; ++i) d[i] = s[step * i];
      }
      return;
    }
    const std::uint8_t* u = plane[1] + r * stride[1] + from;
    const std::uint8_t* v = plane[2] + r * stride[2] + from;
    // A pair in memory is V then U: as a number, V + 256 U on the
    // little-endian processors the simulator runs on.
    if (step == 1) {
      for (std::size_t i = 0; i < n; ++i) d[i] = static_cast<std::uint16_t>(v[i] | u[i] << 8);
    } else if (step == 2) {
      for (std::size_t i = 0; i < n; ++i) d[i] = static_cast<std::uint16_t>(v[2 * i] | u[2 * i] << 8);
    } else {
      for (std::size_t i = 0; i < n; ++i) d[i] = static_cast<std::uint16_t>(v[step * i] | u[step * i] << 8);
    }
  }
  std::uint16_t pair(long long r, std::size_t at) const {
    std::uint16_t p;
    chroma(r, at, 1, 1, &p);
    return p;
  }
};

// Scales the crop of src into the area `to` of dst, sample by nearest
// sample, clipped to dst; chroma goes in pairs, so the area is taken at
// even positions and sizes.
void blit(const Source& src, const Area& crop, media::Picture& dst, Area to) {
  to.x &= ~1LL;
  to.y &= ~1LL;
  to.w &= ~1LL;
  to.h &= ~1LL;
  if (to.w <= 0 || to.h <= 0 || crop.w <= 0 || crop.h <= 0) return;
  const long long x0 = std::max(to.x, 0LL), x1 = std::min(to.x + to.w, static_cast<long long>(dst.width) & ~1LL);
  const long long y0 = std::max(to.y, 0LL), y1 = std::min(to.y + to.h, static_cast<long long>(dst.height));
  if (x0 >= x1 || y0 >= y1) return;
  thread_local std::vector<std::uint32_t> xs;  // source column of each destination column
  xs.resize(static_cast<std::size_t>(x1 - x0));
  for (long long x = x0; x < x1; ++x) xs[x - x0] = static_cast<std::uint32_t>(crop.x + (x - to.x) * crop.w / to.w);
  const std::size_t n = xs.size();
  const bool copy = crop.w == to.w, half = crop.w == 2 * to.w;
  for (long long y = y0; y < y1; ++y) {
    const std::uint8_t* s = src.luma(crop.y + (y - to.y) * crop.h / to.h);
    std::uint8_t* d = dst.plane(0) + y * dst.stride[0] + x0;
    if (copy) {
      std::memcpy(d, s + xs[0], n);
    } else if (half) {
      const std::uint8_t* s0 = s + xs[0];
      for (std::size_t i = 0; i < n; ++i) d[i] = s0[2 * i];
    } else {
      for (std::size_t i = 0; i < n; ++i) d[i] = s[xs[i]];
    }
  }
  // Chroma rows as the formats have them: one per luma row or per two.
  const long long dstPer = dst.height / dst.rows[1], srcPer = src.height / src.chromaRows;
  for (long long r = y0 / dstPer; r < (y1 + dstPer - 1) / dstPer; ++r) {
    const long long sr = (crop.y + (r * dstPer - to.y) * crop.h / to.h) / srcPer;
    auto* d = reinterpret_cast<std::uint16_t*>(dst.plane(1) + r * dst.stride[1] + x0);
    if (copy || half) {
      src.chroma(sr, xs[0] / 2, n / 2, copy ? 1 : 2, d);
    } else {
      for (std::size_t i = 0; i < n / 2; ++i) d[i] = src.pair(sr, xs[2 * i] / 2);
    }
  }
}

// The part of a channel's picture its zoom window shows (the whole picture
// when none is set).
Area cropOf(const Object& o, const media::Picture& pic) {
  Area whole{0, 0, pic.width, pic.height};
  VO_ZOOM_ATTR_S zoom;
  if (!o.get("Zoom", &zoom)) return whole;
  Area a = whole;
  if (zoom.enZoomType == VOU_ZOOM_IN_RECT) {
    const RECT_S& r = zoom.stZoomRect;
    if (r.u32Width == 0 || r.u32Height == 0) return whole;
    a = {r.s32X, r.s32Y, r.u32Width, r.u32Height};
  } else {
    const VO_ZOOM_RATIO_S& r = zoom.stZoomRatio;
    if (r.u32WRatio == 0 || r.u32HRatio == 0) return whole;
    a = {pic.width * r.u32XRatio / 1000, pic.height * r.u32YRatio / 1000, pic.width * r.u32WRatio / 1000,
         pic.height * r.u32HRatio / 1000};
  }
  a.x = std::min(std::max(a.x, 0LL), whole.w - 1);
  a.y = std::min(std::max(a.y, 0LL), whole.h - 1);
  a.w = std::min(a.w, whole.w - a.x);
  a.h = std::min(a.h, whole.h - a.y);
  return a.w > 0 && a.h > 0 ? a : whole;
}

// One picture to draw: the channel showing it, the part of it shown, and
// where.
struct Draw {
  Key chn;
  media::PicturePtr pic;
  Area crop, to;
};

// The pictures of layer l's enabled, shown channels in priority order
// (equal priorities by channel number, higher on top), the layer's picture
// mapped onto the area `onto` of the output.
void planLayer(VO_LAYER l, const VO_VIDEO_LAYER_ATTR_S& la, const Area& onto, std::vector<Draw>* plan) {
  std::vector<std::tuple<HI_U32, int, Key>> order;
  for (const Key& k : objects(kMod)) {
    if (k.dev != l || k.chn < 0) continue;
    const Object* o = find(k);
    VO_CHN_ATTR_S a;
    if (!o->enabled || o->values.count("hidden") || !g_shown.count(k) || !o->get("ChnAttr", &a)) continue;
    order.emplace_back(a.u32Priority, k.chn, k);
  }
  std::sort(order.begin(), order.end());
  const long long iw = la.stImageSize.u32Width ? la.stImageSize.u32Width : 1;
  const long long ih = la.stImageSize.u32Height ? la.stImageSize.u32Height : 1;
  for (const auto& entry : order) {
    const Key& k = std::get<2>(entry);
    const Object* o = find(k);
    VO_CHN_ATTR_S a;
    o->get("ChnAttr", &a);
    POINT_S pos{a.stRect.s32X, a.stRect.s32Y};
    o->get("DispPos", &pos);
    const media::PicturePtr& pic = g_shown[k];
    const Area to{onto.x + pos.s32X * onto.w / iw, onto.y + pos.s32Y * onto.h / ih, a.stRect.u32Width * onto.w / iw,
                  a.stRect.u32Height * onto.h / ih};
    plan->push_back(Draw{k, pic, cropOf(*o, *pic), to});
  }
}

// Whether the pictures cover the whole output without overlapping: then no
// background shows.
bool covers(const std::vector<Draw>& plan, const media::Picture& out) {
  long long area = 0;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const Area& a = plan[i].to;
    if (a.x < 0 || a.y < 0 || a.x + a.w > out.width || a.y + a.h > out.height || (a.x | a.y | a.w | a.h) & 1)
      return false;
    for (std::size_t j = 0; j < i; ++j) {
      const Area& b = plan[j].to;
      if (a.x < b.x + b.w && b.x < a.x + a.w && a.y < b.y + b.h && b.y < a.y + a.h) return false;
    }
    area += a.w * a.h;
  }
  return area == static_cast<long long>(out.width) * out.height;
}

// The background, then the pictures in order.
void draw(const std::vector<Draw>& plan, HI_U32 background, media::Picture& out) {
  if (!covers(plan, out)) fill(out, background);
  for (const Draw& d : plan) blit(Source(*d.pic), d.crop, out, d.to);
}

// ---- drawing beside the caller ------------------------------------------------------
// A large decoded picture arriving is drawn on the display's own thread
// while the caller goes on (to decode the next picture), as a board's
// display runs beside its decoders. A job reads only the decoder's planes,
// which nobody writes (the job holds them), and writes only a kept picture
// that nothing else touches until settle() has seen every job done.

// Smaller pictures are drawn at once: handing them over costs more.
constexpr long long kBesideFrom = 320 * 240;

struct Job {
  Source src;
  std::shared_ptr<const media::Origin> planes;
  Area crop, to;
  media::Picture* into;
};

class Painter {
public:
  // Never destroyed: its thread may outlive the statics at exit.
  static Painter& the() {
    static Painter* p = new Painter;
    return *p;
  }

  // False when there is no thread to draw on (then the caller draws).
  bool post(Job job) {
    std::lock_guard<std::mutex> hold(lock_);
    if (!started_) {
      try {
        std::thread([this] { run(); }).detach();
      } catch (const std::system_error&) {
        return false;
      }
      started_ = true;
    }
    jobs_.push_back(std::move(job));
    wake_.notify_one();
    return true;
  }

  void settle() {
    std::unique_lock<std::mutex> hold(lock_);
    done_.wait(hold, [this] { return jobs_.empty() && !busy_; });
  }

private:
  Painter() {
    // A child has no drawing thread: nothing is left for one, and the
    // next job starts one.
    pthread_atfork(
        [] {
          the().settle();
          the().lock_.lock();
        },
        [] { the().lock_.unlock(); },
        [] {
          the().started_ = false;
          the().lock_.unlock();
        });
  }

  void run() {
    std::unique_lock<std::mutex> hold(lock_);
    for (;;) {
      wake_.wait(hold, [this] { return !jobs_.empty(); });
      Job job = std::move(jobs_.front());
      jobs_.pop_front();
      busy_ = true;
      hold.unlock();
      blit(job.src, job.crop, *job.into, job.to);
      job.planes.reset();
      hold.lock();
      busy_ = false;
      if (jobs_.empty()) done_.notify_all();
    }
  }

  std::mutex lock_;
  std::condition_variable wake_, done_;
  std::deque<Job> jobs_;
  bool started_ = false, busy_ = false;
};

// ---- composed pictures ----------------------------------------------------------------
// What a layer or a device showed when it was last composed at a size is
// kept: the next time, only the channels with a new picture are drawn again
// when nothing else changed. For a while after someone looked, a new
// picture is also drawn as it arrives (beside the caller when it is large),
// so that the next look finds the drawing done.

// New pictures drawn as they arrive after someone last looked.
constexpr int kDrawnOnArrival = 32;

using Target = std::tuple<int, int, std::uint32_t, std::uint32_t, int>;  // kind, number, width, height, format
enum { kLayerTarget, kDeviceTarget };

struct Composed {
  media::MutablePicture pic;
  std::vector<Draw> plan;   // as drawn
  std::vector<bool> alone;  // of each entry: it overlaps no other
  HI_U32 background = 0;
  int onArrival = 0;        // pictures still to be drawn as they arrive
};
// Never destroyed: the drawing thread may be writing into its pictures at exit.
std::map<Target, Composed>& g_composed = *new std::map<Target, Composed>;
const bool g_forgetComposed = (on_reset([] {
                                 Painter::the().settle();
                                 g_composed.clear();
                               }),
                               true);

// The area blit writes.
Area drawnArea(const Area& to) { return Area{to.x & ~1LL, to.y & ~1LL, to.w & ~1LL, to.h & ~1LL}; }

bool overlap(const Area& a, const Area& b) {
  return a.w > 0 && a.h > 0 && b.w > 0 && b.h > 0 && a.x < b.x + b.w && b.x < a.x + a.w && a.y < b.y + b.h &&
         b.y < a.y + a.h;
}

bool sameArea(const Area& a, const Area& b) { return a.x == b.x && a.y == b.y && a.w == b.w && a.h == b.h; }

std::vector<bool> aloneOf(const std::vector<Draw>& plan) {
  std::vector<bool> alone(plan.size(), true);
  for (std::size_t i = 0; i < plan.size(); ++i)
    for (std::size_t j = i + 1; j < plan.size(); ++j)
      if (overlap(drawnArea(plan[i].to), drawnArea(plan[j].to))) alone[i] = alone[j] = false;
  return alone;
}

// The target's picture showing plan on the background: the picture kept,
// with only the new pictures drawn, when it is not lent out and nothing
// else changed; else all drawn, into a new picture if the kept one is held.
media::MutablePicture compose(const Target& target, std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format,
                              std::vector<Draw> plan, HI_U32 background) {
  Painter::the().settle();
  if (g_composed.size() >= 16 && !g_composed.count(target)) g_composed.clear();  // sizes seen once
  Composed& c = g_composed[target];
  bool kept = c.pic && c.pic.use_count() == 1 && c.background == background && c.plan.size() == plan.size();
  for (std::size_t i = 0; kept && i < plan.size(); ++i) {
    const Draw &was = c.plan[i], &now = plan[i];
    kept = was.chn == now.chn && sameArea(was.crop, now.crop) && sameArea(was.to, now.to) &&
           (was.pic == now.pic || c.alone[i]);
  }
  if (kept) {
    for (std::size_t i = 0; i < plan.size(); ++i)
      if (c.plan[i].pic != plan[i].pic) blit(Source(*plan[i].pic), plan[i].crop, *c.pic, plan[i].to);
  } else {
    if (!c.pic || c.pic.use_count() != 1) c.pic = media::Picture::make(width, height, format);
    if (!c.pic) {
      g_composed.erase(target);
      return nullptr;
    }
    draw(plan, background, *c.pic);
    c.alone = aloneOf(plan);
  }
  c.plan = std::move(plan);
  c.background = background;
  c.onArrival = kDrawnOnArrival;
  return c.pic;
}

// A channel's new picture drawn at once into the kept pictures that show
// the channel apart from all others.
void drawOnArrival(Key chn, const Object& o, const media::PicturePtr& pic) {
  for (auto& entry : g_composed) {
    Composed& c = entry.second;
    if (c.onArrival <= 0 || c.pic.use_count() != 1) continue;
    for (std::size_t i = 0; i < c.plan.size(); ++i) {
      Draw& d = c.plan[i];
      if (!(d.chn == chn)) continue;
      if (c.alone[i]) {
        d.pic = pic;
        d.crop = cropOf(o, *pic);
        const Area at = drawnArea(d.to);
        const Source src(*pic);
        std::shared_ptr<const media::Origin> planes = pic->origin();
        if (!planes || at.w * at.h < kBesideFrom ||
            !Painter::the().post(Job{src, std::move(planes), d.crop, d.to, c.pic.get()}))
          blit(src, d.crop, *c.pic, d.to);
        --c.onArrival;
      }
      break;
    }
  }
}

HI_U32 backgroundOf(int dev) {
  const Object* d = dev < 0 ? nullptr : find(devKey(dev));
  VO_PUB_ATTR_S pub{};
  return d && d->get("PubAttr", &pub) ? pub.u32BgColor : 0;
}

// Device dev's screen composed at width x height; null with the reason when
// the device shows nothing.
media::MutablePicture composeDevice(int dev, std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format,
                                    std::string* why) {
  const Object* d = dev >= 0 && dev < VO_MAX_DEV_NUM ? find(devKey(dev)) : nullptr;
  VO_PUB_ATTR_S pub;
  if (!d || !d->enabled || !d->get("PubAttr", &pub)) {
    *why = "VO device " + std::to_string(dev) + " is not enabled";
    return nullptr;
  }
  const display::Screen screen = display::screen_of(pub);
  if (!screen.width || !screen.height) {
    *why = "VO device " + std::to_string(dev) + " has no picture to show";
    return nullptr;
  }
  const long long ow = width ? width : screen.width, oh = height ? height : screen.height;
  std::vector<std::tuple<HI_U32, int>> layers;
  for (VO_LAYER l = 0; l < VO_MAX_LAYER_NUM; ++l) {
    const Object* o = find(layerKey(l));
    if (!o || !o->enabled || display::device_of(l) != dev) continue;
    HI_U32 priority = 0;
    o->get("Priority", &priority);
    layers.emplace_back(priority, l);
  }
  std::sort(layers.begin(), layers.end());
  const long long sw = screen.width, sh = screen.height;
  std::vector<Draw> plan;
  for (const auto& entry : layers) {
    VO_VIDEO_LAYER_ATTR_S la;
    if (!find(layerKey(std::get<1>(entry)))->get("LayerAttr", &la)) continue;
    const RECT_S& r = la.stDispRect;
    const Area onto{r.s32X * ow / sw, r.s32Y * oh / sh, r.u32Width * ow / sw, r.u32Height * oh / sh};
    planLayer(std::get<1>(entry), la, onto, &plan);
  }
  auto out = compose(Target{kDeviceTarget, dev, ow, oh, format}, ow, oh, format, std::move(plan), pub.u32BgColor);
  if (!out) *why = "VO device " + std::to_string(dev) + " has no picture to show";
  return out;
}

// Layer l alone at width x height (its picture size when 0), on its device's
// background colour; null when it is not enabled.
media::MutablePicture composeLayer(VO_LAYER l, std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format) {
  const Object* o = find(layerKey(l));
  VO_VIDEO_LAYER_ATTR_S la;
  if (!o || !o->enabled || !o->get("LayerAttr", &la)) return nullptr;
  const std::uint32_t ow = width ? width : la.stImageSize.u32Width, oh = height ? height : la.stImageSize.u32Height;
  std::vector<Draw> plan;
  planLayer(l, la, Area{0, 0, ow, oh}, &plan);
  return compose(Target{kLayerTarget, l, ow, oh, format}, ow, oh, format, std::move(plan),
                 backgroundOf(display::device_of(l)));
}

// ---- channels ---------------------------------------------------------------------

// A paused channel takes a picture only for a step asked of it.
bool takes(const Object& o) {
  if (!o.enabled) return false;
  if (!o.values.count("paused")) return true;
  auto steps = o.values.find("steps");
  return steps != o.values.end() && steps->second > 0;
}

void show(Key at, const media::PicturePtr& pic) {
  Object* o = find(at);
  if (!o || !takes(*o)) return;
  auto steps = o->values.find("steps");
  if (o->values.count("paused") && --steps->second == 0) o->values.erase(steps);
  g_shown[at] = pic;
  drawOnArrival(at, *o, pic);
}

bool wants(Key at) {
  const Object* o = find(at);
  return o && takes(*o);
}

const bool g_receiver = (media::on_picture(kMod, &show, &wants), true);

// ---- write-back -------------------------------------------------------------------

// At most this much is caught up at once after a long pause in real time.
constexpr std::int64_t kCatchUp = 1000000;

struct WriteBack {
  std::int64_t origin = INT64_MIN;  // when the ticks were counted from; MIN: not writing
  std::int64_t ticks = 0;           // display ticks since then
  std::uint32_t frames = 0;
  std::int64_t at(HI_U32 rate) const { return origin + ticks * 1000000 / rate; }
};
WriteBack g_wbc;
const bool g_forget = (on_reset([] { g_wbc = WriteBack(); }), true);

// The write-back's settings while it is enabled and its destinations take
// pictures.
bool writing(VO_WBC_ATTR_S* attr, VO_WBC_SOURCE_S* source) {
  const Object* w = find(kVoWriteback);
  return w && w->enabled && w->get("WbcAttr", attr) && w->get("Source", source) && media::wanted(kWbcOutput);
}

// The display rate of the device written back: its own frame rate when set,
// else its timing's.
HI_U32 displayRate(const VO_WBC_SOURCE_S& source) {
  const int dev = source.enSourceType == VO_WBC_SOURCE_DEV ? static_cast<int>(source.u32SourceId)
                                                           : display::device_of(static_cast<int>(source.u32SourceId));
  const Object* d = dev < 0 ? nullptr : find(devKey(dev));
  HI_U32 rate = 0;
  VO_PUB_ATTR_S pub;
  if (d && !d->get("FrameRate", &rate) && d->get("PubAttr", &pub)) rate = display::screen_of(pub).rate;
  return rate ? rate : 60;
}

// Of src ticks a second, dst pass, evenly, the first among them.
bool passes(std::uint32_t n, std::uint32_t src, std::uint32_t dst) {
  if (dst == 0 || dst >= src) return true;
  return static_cast<std::uint64_t>(n) * dst % src < dst;
}

void advance(std::int64_t until) {
  VO_WBC_ATTR_S attr;
  VO_WBC_SOURCE_S source;
  if (!writing(&attr, &source)) {
    g_wbc.origin = INT64_MIN;
    return;
  }
  const HI_U32 rate = displayRate(source);
  if (g_wbc.origin == INT64_MIN) g_wbc = WriteBack{until, 0, g_wbc.frames};
  if (until - g_wbc.at(rate) > kCatchUp) g_wbc = WriteBack{until - kCatchUp, 0, g_wbc.frames};
  const std::uint32_t w = attr.stTargetSize.u32Width, h = attr.stTargetSize.u32Height;
  for (; g_wbc.at(rate) <= until; ++g_wbc.ticks) {
    if (!passes(static_cast<std::uint32_t>(g_wbc.ticks), rate, attr.u32FrameRate)) continue;
    std::string why;
    media::MutablePicture pic =
        source.enSourceType == VO_WBC_SOURCE_DEV
            ? composeDevice(static_cast<int>(source.u32SourceId), w, h, attr.enPixelFormat, &why)
            : composeLayer(static_cast<int>(source.u32SourceId), w, h, attr.enPixelFormat);
    if (!pic) continue;
    pic->pts = static_cast<std::uint64_t>(g_wbc.at(rate));
    pic->seq = g_wbc.frames++;
    media::deliver(kWbcOutput, pic);
  }
}

std::int64_t next() {
  VO_WBC_ATTR_S attr;
  VO_WBC_SOURCE_S source;
  if (!writing(&attr, &source)) return INT64_MAX;
  return g_wbc.origin == INT64_MIN ? media::now() : g_wbc.at(displayRate(source));
}

const bool g_source = (media::on_source({&advance, &next}), true);

// ---- calls --------------------------------------------------------------------------

HI_S32 layerOf(VO_LAYER l) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM)
    return refuse(HI_ERR_VO_INVALID_LAYERID, "VO layer %d outside [0, %d)", l, VO_MAX_LAYER_NUM);
  return HI_SUCCESS;
}

// An output channel with attributes, enabled.
HI_S32 channelOf(VO_LAYER l, VO_CHN chn, const Object** o) {
  if (HI_S32 rc = layerOf(l)) return rc;
  if (chn < 0 || chn >= VO_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "VO channel %d outside [0, %d)", chn, VO_MAX_CHN_NUM);
  *o = find(Key{kMod, l, chn});
  if (!*o) return refuse(HI_ERR_VO_CHN_NOT_CONFIG, "VO channel %d/%d has no attributes", l, chn);
  if (!(*o)->enabled) return refuse(HI_ERR_VO_CHN_NOT_ENABLE, "VO channel %d/%d is not enabled", l, chn);
  return HI_SUCCESS;
}

}  // namespace

namespace display {

void forget(Key chn) { g_shown.erase(chn); }

media::PicturePtr device_picture(int dev, std::string* why) {
  return composeDevice(dev, 0, 0, PIXEL_FORMAT_YUV_SEMIPLANAR_420, why);
}

int hdmi_device(std::string* why) {
  const Object* hdmi = find(kHdmi);
  if (!hdmi || !hdmi->started) {
    *why = "the HDMI transmitter is not started";
    return -1;
  }
  for (VO_DEV dev = 0; dev < VO_MAX_DEV_NUM; ++dev) {
    const Object* d = find(devKey(dev));
    VO_PUB_ATTR_S pub;
    if (d && d->enabled && d->get("PubAttr", &pub) && (pub.enIntfType & VO_INTF_HDMI)) return dev;
  }
  *why = "no enabled VO device drives HDMI";
  return -1;
}

}  // namespace display

namespace h {

// A picture from the script is shown as a bound one would be.
HI_S32 HI_MPI_VO_SendFrame(VO_LAYER l, VO_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(l, chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  media::PicturePtr pic = media::read_frame(*frame);
  if (!pic)
    return refuse(HI_ERR_VO_INVALID_VFRAME, "the frame's addresses or pixel format (%d) name no picture",
                  frame->stVFrame.enPixelFormat);
  show(Key{kMod, l, chn}, pic);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetChnFrame(VO_LAYER l, VO_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(l, chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  const Key k{kMod, l, chn};
  if (!media::wait_for([&] { return g_shown.count(k) != 0; }, ms))
    return refuse(HI_ERR_VO_WAIT_TIMEOUT, "VO channel %d/%d has shown no picture within %d ms", l, chn, ms);
  media::lend(g_shown[k], frame);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_ReleaseChnFrame(VO_LAYER l, VO_CHN chn, const VIDEO_FRAME_INFO_S* frame) {
  if (HI_S32 rc = layerOf(l)) return rc;
  if (chn < 0 || chn >= VO_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "VO channel %d outside [0, %d)", chn, VO_MAX_CHN_NUM);
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame at 0x%08X is not one lent out (released already?)",
                  frame->stVFrame.u32PhyAddr[0]);
  return HI_SUCCESS;
}

// The layer's picture is composed when it is asked for; there is always one.
HI_S32 HI_MPI_VO_GetScreenFrame(VO_LAYER l, VIDEO_FRAME_INFO_S* frame, HI_S32) {
  if (HI_S32 rc = layerOf(l)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  const Object* o = find(layerKey(l));
  VO_VIDEO_LAYER_ATTR_S la;
  if (!o || !o->enabled || !o->get("LayerAttr", &la))
    return refuse(HI_ERR_VO_VIDEO_NOT_ENABLE, "VO layer %d is not enabled", l);
  media::pump();
  media::PicturePtr pic = composeLayer(l, 0, 0, la.enPixFormat);
  if (!pic) return refuse(err(kMod, NOT_SUPPORT), "VO layer %d has a picture format not modelled", l);
  media::lend(pic, frame);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_ReleaseScreenFrame(VO_LAYER l, VIDEO_FRAME_INFO_S* frame) {
  if (HI_S32 rc = layerOf(l)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame at 0x%08X is not one lent out (released already?)",
                  frame->stVFrame.u32PhyAddr[0]);
  return HI_SUCCESS;
}

// The time stamp of the picture shown, 0 before the first.
HI_S32 HI_MPI_VO_GetChnPts(VO_LAYER l, VO_CHN chn, HI_U64* pts) {
  const Object* o = nullptr;
  if (HI_S32 rc = channelOf(l, chn, &o)) return rc;
  if (!pts) return refuse(err(kMod, NULL_PTR), "nowhere to write the time stamp (null pointer)");
  media::pump();
  auto it = g_shown.find(Key{kMod, l, chn});
  *pts = it == g_shown.end() ? 0 : it->second->pts;
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
