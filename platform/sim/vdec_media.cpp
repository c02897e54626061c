// What decoder channels do with the streams scripts send them. A channel
// that receives keeps the bytes in its stream buffer (u32BufSize) and
// decodes them while it has a free picture buffer (its VB count, pictures
// waiting and lent included), with the media core's decoder of its payload
// (FFmpeg, or the stand-in's grey pictures). The bytes may come cut
// anywhere; pictures carry the time stamp of the send that completed them.
//
// Decoded pictures go along the channel's bindings: in preview mode at once
// (a destination that does not take them loses them); in playback mode one
// per frame period of the display channel they end at (directly or through
// a processing channel), and only while it takes them, so that nothing is
// lost and a paused or full display holds the decoder back, and the stream
// behind it. A channel bound to nothing keeps its pictures for GetImage.
#include <climits>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "media/media.h"
#include "stored.h"
#include "vdec_media.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VDEC;

Key chnKey(VDEC_CHN chn) { return Key{kMod, 0, chn}; }

const char* payloadName(PAYLOAD_TYPE_E type) {
  switch (type) {
    case PT_H264: return "H.264";
    case PT_H265: return "H.265";
    case PT_JPEG: return "JPEG";
    case PT_MJPEG: return "motion JPEG";
    default: return "unknown";
  }
}

bool jpegLike(PAYLOAD_TYPE_E type) { return type == PT_JPEG || type == PT_MJPEG; }

// ---- what a stream is ---------------------------------------------------------

bool h264Unit(std::uint8_t h0, std::uint8_t h1) {
  const int type = h0 & 0x1F;
  return !(h0 & 0x80) && type >= 1 && type <= 23 && !(h1 == 1 && (h0 & 1) == 0 && (h0 >> 1) >= 32);
}

bool h265Unit(std::uint8_t h0, std::uint8_t h1) {
  const int type = (h0 >> 1) & 0x3F;
  const bool known = type <= 9 || (type >= 16 && type <= 21) || (type >= 32 && type <= 40);
  return !(h0 & 0x80) && known && (h1 & 7) != 0;
}

// The payload the first bytes of a stream are in: PT_JPEG for a JPEG
// start-of-image, PT_H264 or PT_H265 for an Annex B unit that is one and not
// the other; own when both could be; PT_BUTT for bytes that are none.
PAYLOAD_TYPE_E payloadOf(const std::vector<std::uint8_t>& head, PAYLOAD_TYPE_E own) {
  if (head.size() >= 2 && head[0] == 0xFF && head[1] == 0xD8) return jpegLike(own) ? own : PT_JPEG;
  for (std::size_t i = 0; i + 4 < head.size() && i < 4; ++i) {
    if (head[i] != 0 || head[i + 1] != 0 || head[i + 2] != 1) continue;
    const bool h264 = h264Unit(head[i + 3], head[i + 4]), h265 = h265Unit(head[i + 3], head[i + 4]);
    if (h264 && h265) return own == PT_H265 ? PT_H265 : PT_H264;
    return h264 ? PT_H264 : h265 ? PT_H265 : PT_BUTT;
  }
  return PT_BUTT;
}

// ---- channels -------------------------------------------------------------------

struct Chunk {
  std::vector<std::uint8_t> bytes;
  std::uint64_t pts;
  bool endOfStream;
};

struct Decoding {
  std::unique_ptr<media::Decoder> decoder;
  std::vector<std::uint8_t> head;  // the stream's first bytes, until its payload is known
  bool judged = false;
  std::deque<Chunk> stream;        // received, not yet decoded
  std::size_t streamBytes = 0;
  std::deque<media::PicturePtr> out;  // decoded, not yet passed on or taken
  std::set<std::uint32_t> lent;       // first-plane addresses of the pictures GetImage lent
  std::int64_t nextAt = INT64_MIN;    // playback: when the next picture leaves
  std::uint32_t received = 0, decoded = 0;
  HI_S32 formatErrors = 0, sizeErrors = 0;
  bool foreignReported = false, oversizeReported = false, largeReported = false;
};

std::map<VDEC_CHN, Decoding> g_channels;
const bool g_reset = (on_reset([] { g_channels.clear(); }), true);

VDEC_CHN_ATTR_S attrOf(const Object& o) {
  VDEC_CHN_ATTR_S a{};
  o.get("ChnAttr", &a);
  return a;
}

bool playback(const Object& o) {
  VIDEO_DISPLAY_MODE_E mode = VIDEO_DISPLAY_MODE_PREVIEW;
  o.get("DisplayMode", &mode);
  return mode == VIDEO_DISPLAY_MODE_PLAYBACK;
}

std::size_t buffersOf(VDEC_CHN chn) {
  HI_U32 count = 0;
  if (h::HI_MPI_VDEC_GetChnVBCnt(chn, &count) != HI_SUCCESS || count == 0) count = 1;
  return count;
}

std::int64_t displayPeriod(Key display) {
  HI_S32 rate = 0;
  if (h::HI_MPI_VO_GetChnFrameRate(display.dev, display.chn, &rate) != HI_SUCCESS || rate <= 0) return 0;
  return 1000000 / rate;
}

// The frame period of the display channel the pictures end at, directly or
// through a processing channel; 0 when they reach no display.
std::int64_t periodOf(Key k) {
  for (const Key& d : destinations(k)) {
    if (d.mod == HI_ID_VOU) return displayPeriod(d);
    if (d.mod != HI_ID_VPSS) continue;
    for (VPSS_CHN c = 0; c < VPSS_MAX_CHN_NUM; ++c)
      for (const Key& e : destinations(Key{HI_ID_VPSS, d.dev, c}))
        if (e.mod == HI_ID_VOU) return displayPeriod(e);
  }
  return 0;
}

// Hands decoded pictures on along the bindings, as the display mode says.
void pass(Key k, const Object& o, Decoding& d, std::int64_t at) {
  if (d.out.empty() || destinations(k).empty()) return;
  if (!playback(o)) {
    for (; !d.out.empty(); d.out.pop_front()) media::deliver(k, d.out.front());
    return;
  }
  const std::int64_t period = periodOf(k);
  while (!d.out.empty() && media::wanted(k)) {
    if (d.nextAt == INT64_MIN || d.nextAt < at - period) d.nextAt = at;  // idle or late: from now on
    if (d.nextAt > at) break;
    media::deliver(k, d.out.front());
    d.out.pop_front();
    d.nextAt += period;
  }
}

void judgePayload(VDEC_CHN chn, Decoding& d, PAYLOAD_TYPE_E own, const Chunk& c) {
  if (d.judged) return;
  for (std::size_t i = 0; i < c.bytes.size() && d.head.size() < 8; ++i) d.head.push_back(c.bytes[i]);
  if (d.head.size() < 8 && !c.endOfStream) return;
  d.judged = true;
  const PAYLOAD_TYPE_E found = payloadOf(d.head, own);
  if (found == own || (jpegLike(found) && jpegLike(own)) || d.foreignReported) return;
  d.foreignReported = true;
  ++d.formatErrors;
  finding("stream-of-another-payload",
          label(chnKey(chn)) + " decodes " + payloadName(own) + " and was sent " +
              (found == PT_BUTT ? std::string("bytes that are no stream it knows")
                                : std::string("a ") + payloadName(found) + " stream") +
              ": a board decodes nothing of it");
}

void decode(VDEC_CHN chn, Decoding& d, const VDEC_CHN_ATTR_S& attr, const Chunk& c) {
  judgePayload(chn, d, attr.enType, c);
  if (!d.decoder) d.decoder = media::make_decoder(attr.enType);
  if (!d.decoder) {  // the codec could not be opened: nothing comes of the bytes
    ++d.formatErrors;
    return;
  }
  std::vector<media::PicturePtr> pictures;
  if (!c.bytes.empty() && !d.decoder->feed(c.bytes.data(), c.bytes.size(), c.pts, &pictures)) {
    ++d.formatErrors;
    if (!d.foreignReported) {
      d.foreignReported = true;
      finding("stream-of-another-payload", label(chnKey(chn)) + " decodes " + payloadName(attr.enType) +
                                               " and its decoder finds no such stream in what it was sent");
    }
  }
  if (c.endOfStream) {
    d.decoder->flush(&pictures);
    d.decoder.reset();  // the next stream starts afresh
    d.head.clear();
    d.judged = false;
  }
  for (const media::PicturePtr& pic : pictures) {
    if (pic->width > attr.u32PicWidth || pic->height > attr.u32PicHeight) {
      ++d.sizeErrors;
      if (!d.largeReported)
        finding("picture-larger-than-channel",
                label(chnKey(chn)) + " decoded a " + std::to_string(pic->width) + "x" + std::to_string(pic->height) +
                    " picture; the channel was made for " + std::to_string(attr.u32PicWidth) + "x" +
                    std::to_string(attr.u32PicHeight) + ": such pictures are dropped");
      d.largeReported = true;
      continue;
    }
    ++d.decoded;
    d.out.push_back(pic);
  }
}

// Passes pictures on and decodes while picture buffers are free.
void run(VDEC_CHN chn, std::int64_t at) {
  const Key k = chnKey(chn);
  const Object* o = find(k);
  if (!o) return;
  Decoding& d = g_channels[chn];
  const VDEC_CHN_ATTR_S attr = attrOf(*o);
  const std::size_t buffers = buffersOf(chn);
  for (;;) {
    pass(k, *o, d, at);
    if (d.stream.empty() || d.out.size() + d.lent.size() >= buffers) break;
    Chunk c = std::move(d.stream.front());
    d.stream.pop_front();
    d.streamBytes -= c.bytes.size();
    decode(chn, d, attr, c);
  }
}

void advance(std::int64_t until) {
  for (auto& e : g_channels) run(e.first, until);
}

// Only playback channels wait: for their next frame period, while their
// display takes pictures.
std::int64_t next() {
  std::int64_t due = INT64_MAX;
  for (const auto& e : g_channels) {
    const Decoding& d = e.second;
    const Key k = chnKey(e.first);
    const Object* o = find(k);
    if (d.out.empty() || !o || !playback(*o) || destinations(k).empty() || !media::wanted(k)) continue;
    const std::int64_t at = d.nextAt == INT64_MIN ? media::now() : d.nextAt;
    if (at < due) due = at;
  }
  return due;
}

const bool g_source = (media::on_source({&advance, &next}), true);

HI_S32 channelOf(VDEC_CHN chn, Object** o) {
  if (chn < 0 || chn >= VDEC_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "VDEC channel %d outside [0, %d)", chn, VDEC_MAX_CHN_NUM);
  *o = find(chnKey(chn));
  return *o ? HI_SUCCESS : refuse(err(kMod, UNEXIST), "VDEC channel %d does not exist", chn);
}

}  // namespace

void vdec::forget(VDEC_CHN chn) { g_channels.erase(chn); }

namespace h {

// The bytes are copied into the stream buffer once it has room for them;
// a send larger than the whole buffer waits for it to be empty and is
// reported, as a board may never take it.
HI_S32 HI_MPI_VDEC_SendStream(VDEC_CHN chn, const VDEC_STREAM_S* stream, HI_S32 ms) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!stream) return refuse(err(kMod, NULL_PTR), "no stream given (null pointer)");
  if (stream->u32Len && !stream->pu8Addr)
    return refuse(err(kMod, NULL_PTR), "%u stream bytes at a null address", stream->u32Len);
  if (!o->started)
    return refuse(err(kMod, NOT_PERM), "VDEC channel %d does not receive: StartRecvStream first", chn);
  const bool end = stream->bEndOfStream == HI_TRUE;
  if (stream->u32Len == 0 && !end) return HI_SUCCESS;
  const VDEC_CHN_ATTR_S attr = attrOf(*o);
  Decoding& d = g_channels[chn];
  const std::size_t size = stream->u32Len;
  if (size > attr.u32BufSize && !d.oversizeReported) {
    d.oversizeReported = true;
    finding("stream-larger-than-buffer", "VDEC channel " + std::to_string(chn) + " was sent " +
                                             std::to_string(size) + " bytes at once; its stream buffer holds " +
                                             std::to_string(attr.u32BufSize));
  }
  const std::size_t room = size > attr.u32BufSize ? 0 : attr.u32BufSize - size;
  if (!media::wait_for([&] { return d.streamBytes <= room; }, ms))
    return refuse(err(kMod, BUF_FULL),
                  "the stream buffer of VDEC channel %d (%u bytes) holds %zu bytes not yet decoded: no room for "
                  "%zu more within %d ms",
                  chn, attr.u32BufSize, d.streamBytes, size, ms);
  Chunk c{std::vector<std::uint8_t>(stream->pu8Addr, stream->pu8Addr + size), stream->u64PTS, end};
  d.streamBytes += size;
  d.stream.push_back(std::move(c));
  const bool frames = !jpegLike(attr.enType) ? attr.stVdecVideoAttr.enMode == VIDEO_MODE_FRAME
                                             : attr.stVdecJpegAttr.enMode == VIDEO_MODE_FRAME;
  if (size && (frames || stream->bEndOfFrame == HI_TRUE)) ++d.received;
  run(chn, media::now());
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_Query(VDEC_CHN chn, VDEC_CHN_STAT_S* stat) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!stat) return refuse(err(kMod, NULL_PTR), "nowhere to write the status (null pointer)");
  media::pump();
  std::memset(stat, 0, sizeof *stat);
  stat->enType = attrOf(*o).enType;
  stat->bStartRecvStream = o->started ? HI_TRUE : HI_FALSE;
  auto it = g_channels.find(chn);
  if (it == g_channels.end()) return HI_SUCCESS;
  const Decoding& d = it->second;
  stat->u32LeftStreamBytes = static_cast<HI_U32>(d.streamBytes);
  stat->u32LeftStreamFrames = static_cast<HI_U32>(d.stream.size());
  stat->u32LeftPics = static_cast<HI_U32>(d.out.size());
  stat->u32RecvStreamFrames = d.received;
  stat->u32DecodeStreamFrames = d.decoded;
  stat->stVdecDecErr.s32FormatErr = d.formatErrors;
  stat->stVdecDecErr.s32PicSizeErrSet = d.sizeErrors;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_GetImage(VDEC_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the picture (null pointer)");
  Decoding& d = g_channels[chn];
  if (!media::wait_for([&] { return !d.out.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no decoded picture on VDEC channel %d within %d ms", chn, ms);
  media::lend(d.out.front(), frame);
  d.out.pop_front();
  d.lent.insert(frame->stVFrame.u32PhyAddr[0]);
  run(chn, media::now());
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_ReleaseImage(VDEC_CHN chn, VIDEO_FRAME_INFO_S* frame) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no picture given (null pointer)");
  const std::uint32_t at = frame->stVFrame.u32PhyAddr[0];
  if (!media::take_back(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the picture at 0x%08X is not one lent out (released already?)", at);
  auto it = g_channels.find(chn);
  if (it != g_channels.end() && it->second.lent.erase(at)) run(chn, media::now());
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
