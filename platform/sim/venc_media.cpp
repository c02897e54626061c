// What encoder channels do with pictures: a channel that receives encodes
// each picture it is given (bound or sent), keeping its frame rate, at its
// picture size, with its codec and rate control; the encoded pictures wait
// in the channel's stream buffer (u32BufSize bytes, pictures got and not
// yet released included) until GetStream takes them and ReleaseStream gives
// them back. A picture that does not fit is lost, as on a board, and
// reported once per overflow. The channel's descriptor polls readable while
// a picture waits.
#include <climits>
#include <cstring>
#include <deque>
#include <map>
#include <memory>

#include "media/media.h"
#include "stored.h"
#include "venc_picture.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VENC;

struct Coded {
  media::Encoded e;
  std::uint64_t pts = 0;
  std::uint32_t seq = 0;
};

struct Stream {
  std::unique_ptr<media::Encoder> encoder;
  std::vector<unsigned char> config;  // the attributes the encoder was made with
  std::deque<std::shared_ptr<Coded>> ready, held;
  std::size_t bytes = 0;
  std::uint32_t seq = 0, offered = 0;
  bool overflowing = false;
  std::unique_ptr<media::Signal> signal;
};

std::map<VENC_CHN, Stream> g_streams;
const bool g_reset = (on_reset([] { g_streams.clear(); }), true);

Key chnKey(VENC_CHN chn) { return Key{kMod, 0, chn}; }

void sync(Stream& s) {
  if (s.signal) s.signal->set(!s.ready.empty());
}

struct Rates {
  std::uint32_t src, dst, gop;
};

// Source and destination rates and GOP of the rate-control member (the
// members share their first fields by family).
Rates ratesOf(const VENC_RC_ATTR_S& rc) {
  switch (rc.enRcMode) {
    case VENC_RC_MODE_H264CBR:
    case VENC_RC_MODE_H265CBR: return {rc.stAttrH264Cbr.u32SrcFrmRate, rc.stAttrH264Cbr.fr32DstFrmRate, rc.stAttrH264Cbr.u32Gop};
    case VENC_RC_MODE_H264VBR:
    case VENC_RC_MODE_H265VBR: return {rc.stAttrH264Vbr.u32SrcFrmRate, rc.stAttrH264Vbr.fr32DstFrmRate, rc.stAttrH264Vbr.u32Gop};
    case VENC_RC_MODE_H264AVBR:
    case VENC_RC_MODE_H265AVBR:
      return {rc.stAttrH264AVbr.u32SrcFrmRate, rc.stAttrH264AVbr.fr32DstFrmRate, rc.stAttrH264AVbr.u32Gop};
    case VENC_RC_MODE_H264FIXQP:
    case VENC_RC_MODE_H265FIXQP:
      return {rc.stAttrH264FixQp.u32SrcFrmRate, rc.stAttrH264FixQp.fr32DstFrmRate, rc.stAttrH264FixQp.u32Gop};
    case VENC_RC_MODE_MJPEGCBR: return {rc.stAttrMjpegeCbr.u32SrcFrmRate, rc.stAttrMjpegeCbr.fr32DstFrmRate, 1};
    case VENC_RC_MODE_MJPEGVBR: return {rc.stAttrMjpegeVbr.u32SrcFrmRate, rc.stAttrMjpegeVbr.fr32DstFrmRate, 1};
    case VENC_RC_MODE_MJPEGFIXQP: return {rc.stAttrMjpegeFixQp.u32SrcFrmRate, rc.stAttrMjpegeFixQp.fr32DstFrmRate, 1};
    default: return {30, 30, 30};
  }
}

// Destination frames per second: the low 16 bits, divided by the high 16 when set.
double dstFps(HI_FR32 dst) {
  const double fps = dst & 0xFFFF, divisor = dst >> 16;
  return divisor ? fps / divisor : fps;
}

media::EncoderConfig configOf(const VENC_CHN_ATTR_S& a, std::uint32_t width, std::uint32_t height) {
  media::EncoderConfig c;
  c.type = a.stVeAttr.enType;
  c.width = width;
  c.height = height;
  if (c.type == PT_H264) c.profile = a.stVeAttr.stAttrH264e.u32Profile;
  const VENC_RC_ATTR_S& rc = a.stRcAttr;
  const Rates r = ratesOf(rc);
  c.gop = r.gop ? r.gop : 1;
  c.fps = static_cast<std::uint32_t>(dstFps(r.dst) + 0.5);
  if (c.fps == 0) c.fps = 1;
  switch (rc.enRcMode) {
    case VENC_RC_MODE_H264CBR:
    case VENC_RC_MODE_H265CBR: c.rate = media::EncoderConfig::Cbr; c.kbps = rc.stAttrH264Cbr.u32BitRate; break;
    case VENC_RC_MODE_H264VBR:
    case VENC_RC_MODE_H265VBR:
      c.rate = media::EncoderConfig::Vbr;
      c.kbps = rc.stAttrH264Vbr.u32MaxBitRate;
      c.minqp = rc.stAttrH264Vbr.u32MinQp;
      c.maxqp = rc.stAttrH264Vbr.u32MaxQp;
      break;
    case VENC_RC_MODE_H264AVBR:
    case VENC_RC_MODE_H265AVBR: c.rate = media::EncoderConfig::Avbr; c.kbps = rc.stAttrH264AVbr.u32MaxBitRate; break;
    case VENC_RC_MODE_H264FIXQP:
    case VENC_RC_MODE_H265FIXQP:
      c.rate = media::EncoderConfig::FixQp;
      c.iqp = rc.stAttrH264FixQp.u32IQp;
      c.pqp = rc.stAttrH264FixQp.u32PQp;
      break;
    case VENC_RC_MODE_MJPEGCBR: c.rate = media::EncoderConfig::Cbr; c.kbps = rc.stAttrMjpegeCbr.u32BitRate; break;
    case VENC_RC_MODE_MJPEGVBR: c.rate = media::EncoderConfig::Vbr; c.kbps = rc.stAttrMjpegeVbr.u32MaxBitRate; break;
    case VENC_RC_MODE_MJPEGFIXQP:
      c.rate = media::EncoderConfig::FixQp;
      c.qfactor = rc.stAttrMjpegeFixQp.u32Qfactor;
      break;
    default: c.rate = media::EncoderConfig::FixQp; break;
  }
  return c;
}


// Takes one pending request for an IDR picture.
bool idrRequested(Object& o) {
  for (const char* name : {"idrInstant", "idrRequested"}) {
    auto it = o.values.find(name);
    if (it != o.values.end() && it->second > 0) {
      o.values.erase(it);
      return true;
    }
  }
  return false;
}

// Encodes pic on channel chn if the channel receives and its frame rate
// lets the picture pass.
void encode(VENC_CHN chn, const media::PicturePtr& in, bool rated) {
  Object* o = find(chnKey(chn));
  if (!o || !o->started) return;
  auto left = o->values.find("picturesLeft");
  if (left != o->values.end() && left->second == 0) return;
  VENC_CHN_ATTR_S attr{};
  if (!o->get("ChnAttr", &attr)) return;
  Stream& s = g_streams[chn];
  const Rates r = ratesOf(attr.stRcAttr);
  const std::uint32_t n = s.offered++;
  const double fps = dstFps(r.dst);
  if (rated && r.src > 0 && fps < r.src &&
      static_cast<std::uint64_t>(n * fps / r.src) == static_cast<std::uint64_t>((n + 1) * fps / r.src))
    return;
  const Picture z = pictureOf(attr.stVeAttr);
  if (in->width > z.maxW || in->height > z.maxH) {
    if (!o->values.count("oversizeReported")) {
      o->values["oversizeReported"] = 1;
      Key src{0, 0, 0};
      const bool bound = source_of(chnKey(chn), &src);
      finding("source-larger-than-destination",
              (bound ? label(src) : std::string("a sent frame")) + " gives " + std::to_string(in->width) + "x" +
                  std::to_string(in->height) + " pictures to " + label(chnKey(chn)) + ", whose largest picture is " +
                  std::to_string(z.maxW) + "x" + std::to_string(z.maxH) + ": they are not encoded");
    }
    return;
  }
  if (left != o->values.end() && left->second > 0) --left->second;
  media::PicturePtr pic = in;
  if (in->width != z.picW || in->height != z.picH || in->format != PIXEL_FORMAT_YUV_SEMIPLANAR_420) {
    auto scaled = media::Picture::make(z.picW, z.picH, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    if (!scaled) return;
    media::scale(*in, nullptr, scaled.get());
    scaled->pts = in->pts;
    scaled->seq = in->seq;
    media::draw(chnKey(chn), *scaled);
    pic = scaled;
  } else if (media::drawn(chnKey(chn))) {
    auto copy = std::make_shared<media::Picture>(*in);
    media::draw(chnKey(chn), *copy);
    pic = copy;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(&attr);
  std::vector<unsigned char> config(bytes, bytes + sizeof attr);
  bool idr = idrRequested(*o);
  if (!s.encoder || s.config != config) {
    s.encoder = media::make_encoder(configOf(attr, z.picW, z.picH));
    s.config = config;
    idr = true;
  }
  auto coded = std::make_shared<Coded>();
  if (!s.encoder || !s.encoder->encode(*pic, idr, &coded->e)) return;
  coded->pts = pic->pts;
  coded->seq = s.seq++;
  if (s.bytes + coded->e.bytes.size() > z.bufSize) {
    if (!s.overflowing)
      finding("stream-buffer-overflow",
              label(chnKey(chn)) + ": its stream buffer of " + std::to_string(z.bufSize) + " bytes is full (" +
                  std::to_string(s.ready.size()) + " pictures wait, " + std::to_string(s.held.size()) +
                  " are held): pictures are lost until GetStream and ReleaseStream make room");
    s.overflowing = true;
    return;
  }
  s.bytes += coded->e.bytes.size();
  s.ready.push_back(coded);
  sync(s);
}

void receive(Key at, const media::PicturePtr& pic) { encode(at.chn, pic, true); }

bool wants(Key at) {
  const Object* o = find(chnKey(at.chn));
  if (!o || !o->started) return false;
  auto left = o->values.find("picturesLeft");
  return left == o->values.end() || left->second != 0;
}

const bool g_receiver = (media::on_picture(kMod, &receive, &wants), true);

HI_S32 channelOf(VENC_CHN chn, Object** o) {
  if (chn < 0 || chn >= VENC_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "VENC channel %d outside [0, %d)", chn, VENC_MAX_CHN_NUM);
  *o = find(chnKey(chn));
  return *o ? HI_SUCCESS : refuse(err(kMod, UNEXIST), "VENC 0/%d does not exist", chn);
}

int dataType(const Coded& c, std::size_t i) { return c.e.packs[i].type; }

}  // namespace

namespace h {

HI_S32 HI_MPI_VENC_Query(VENC_CHN chn, VENC_CHN_STAT_S* stat) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!stat) return refuse(err(kMod, NULL_PTR), "nowhere to write the status (null pointer)");
  media::pump();
  std::memset(stat, 0, sizeof *stat);
  auto left = o->values.find("picturesLeft");
  if (left != o->values.end() && left->second > 0) stat->u32LeftRecvPics = static_cast<HI_U32>(left->second);
  auto it = g_streams.find(chn);
  if (it != g_streams.end()) {
    const Stream& s = it->second;
    stat->u32LeftStreamFrames = static_cast<HI_U32>(s.ready.size());
    for (const auto& c : s.ready) stat->u32LeftStreamBytes += static_cast<HI_U32>(c->e.bytes.size());
    if (!s.ready.empty()) stat->u32CurPacks = static_cast<HI_U32>(s.ready.front()->e.packs.size());
  }
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_GetStream(VENC_CHN chn, VENC_STREAM_S* stream, HI_S32 ms) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!stream || !stream->pstPack) return refuse(err(kMod, NULL_PTR), "no stream or pack array given (null pointer)");
  Stream& s = g_streams[chn];
  if (!media::wait_for([&] { return !s.ready.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no encoded picture on VENC 0/%d within %d ms", chn, ms);
  const std::shared_ptr<Coded> c = s.ready.front();
  if (stream->u32PackCount < c->e.packs.size())
    return refuse(err(kMod, ILLEGAL_PARAM), "room for %u packs; the picture has %u (Query's u32CurPacks)",
                  stream->u32PackCount, static_cast<unsigned>(c->e.packs.size()));
  s.ready.pop_front();
  s.held.push_back(c);
  sync(s);
  for (std::size_t i = 0; i < c->e.packs.size(); ++i) {
    VENC_PACK_S& p = stream->pstPack[i];
    std::memset(&p, 0, sizeof p);
    p.pu8Addr = c->e.bytes.data() + c->e.packs[i].offset;
    p.u32Len = static_cast<HI_U32>(c->e.packs[i].length);
    p.u32Offset = 0;
    p.u64PTS = c->pts;
    p.bFrameEnd = i + 1 == c->e.packs.size() ? HI_TRUE : HI_FALSE;
    p.DataType.enH264EType = static_cast<H264E_NALU_TYPE_E>(dataType(*c, i));
  }
  stream->u32PackCount = static_cast<HI_U32>(c->e.packs.size());
  stream->u32Seq = c->seq;
  return HI_SUCCESS;
}

// Streams come back in the order they were got.
HI_S32 HI_MPI_VENC_ReleaseStream(VENC_CHN chn, VENC_STREAM_S* stream) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!stream || !stream->pstPack) return refuse(err(kMod, NULL_PTR), "no stream or pack array given (null pointer)");
  Stream& s = g_streams[chn];
  if (s.held.empty() || stream->u32PackCount == 0 || stream->pstPack[0].pu8Addr != s.held.front()->e.bytes.data())
    return refuse(err(kMod, ILLEGAL_PARAM), "the stream given is not the oldest one got from VENC 0/%d", chn);
  s.bytes -= s.held.front()->e.bytes.size();
  s.held.pop_front();
  s.overflowing = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_GetFd(VENC_CHN chn) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  Stream& s = g_streams[chn];
  if (!s.signal) s.signal.reset(new media::Signal());
  media::pump();
  sync(s);
  return s.signal->fd();
}

HI_S32 HI_MPI_VENC_CloseFd(VENC_CHN chn) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  g_streams[chn].signal.reset();
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_SendFrame(VENC_CHN chn, VIDEO_FRAME_INFO_S* frame, HI_S32 ms) {
  Object* o = nullptr;
  if (HI_S32 rc = channelOf(chn, &o)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!o->started) return refuse(err(kMod, NOT_PERM), "VENC 0/%d does not receive: StartRecvPic first", chn);
  media::PicturePtr pic = media::read_frame(*frame);
  if (!pic)
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame's addresses or pixel format (%d) name no picture",
                  frame->stVFrame.enPixelFormat);
  encode(chn, pic, false);
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
