// Audio decoder channels: created with a built-in payload, a buffer of
// u32BufSize decoded frames and a mode, once the system is up. SendStream
// decodes what it is given: in "pack" mode each call holds whole frames
// (each after its voice frame header where the payload has one, or one
// frame without), in "stream" mode the bytes are gathered and cut at the
// headers. Decoded frames wait for GetFrame, or for the output channel bound
// to the decoder, which takes them as it has room. A full buffer blocks
// SendStream, or refuses it when it must not block.
#include <cstring>
#include <deque>
#include <map>

#include "media/audio.h"
#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_ADEC;

struct Decoder {
  std::unique_ptr<media::VoiceDecoder> codec;
  PAYLOAD_TYPE_E type = PT_G711A;
  ADEC_MODE_E mode = ADEC_MODE_PACK;
  std::uint32_t bufFrames = 0, seq = 0;
  std::deque<media::SoundPtr> frames;
  std::vector<std::uint8_t> pending;  // stream mode: bytes not yet a whole frame
};

std::map<ADEC_CHN, Decoder> g_decoders;
const bool g_reset = (on_reset([] { g_decoders.clear(); }), true);

Key chnKey(ADEC_CHN chn) { return Key{kMod, 0, chn}; }

bool exists(Key k) { return find(chnKey(k.chn)) != nullptr; }
const bool g_endpoint = (on_endpoint(kMod, &exists), true);

HI_S32 channelOf(ADEC_CHN chn, Decoder** d) {
  if (chn < 0 || chn >= ADEC_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "ADEC channel %d outside [0, %d)", chn, ADEC_MAX_CHN_NUM);
  auto it = g_decoders.find(chn);
  if (!find(chnKey(chn)) || it == g_decoders.end()) return refuse(err(kMod, UNEXIST), "ADEC 0/%d does not exist", chn);
  *d = &it->second;
  return HI_SUCCESS;
}

// Bytes of the frame a voice frame header at b announces (header included);
// 0 when b holds no header.
std::size_t headedFrame(const std::uint8_t* b, std::size_t n) {
  if (n < media::kVoiceHeader || b[0] != 0 || b[1] != 1) return 0;
  return media::kVoiceHeader + 2 * static_cast<std::size_t>(b[2] | b[3] << 8);
}

bool decodeOne(Decoder& d, const std::uint8_t* b, std::size_t n) {
  auto s = std::make_shared<media::Sound>();
  s->rate = 0;  // the rate of whatever plays it
  if (!d.codec || !d.codec->decode(b, n, &s->samples)) return false;
  if (s->samples.empty()) return true;
  s->pts = static_cast<std::uint64_t>(media::now());
  s->seq = d.seq++;
  d.frames.push_back(s);
  return true;
}

// Decodes every whole frame of bytes; in stream mode what is left waits for
// more. False when the bytes are no stream of the payload.
bool feed(Decoder& d, const std::uint8_t* b, std::size_t n) {
  if (d.mode == ADEC_MODE_STREAM) {
    d.pending.insert(d.pending.end(), b, b + n);
    b = d.pending.data();
    n = d.pending.size();
  }
  std::size_t at = 0;
  bool ok = true;
  while (at < n && ok) {
    const std::size_t whole = media::voice_header(d.type) ? headedFrame(b + at, n - at) : 0;
    if (whole == 0) {
      if (d.mode == ADEC_MODE_STREAM && media::voice_header(d.type)) break;
      ok = decodeOne(d, b + at, n - at);
      at = n;
    } else if (at + whole > n) {
      if (d.mode == ADEC_MODE_STREAM) break;
      ok = false;
    } else {
      ok = decodeOne(d, b + at + media::kVoiceHeader, whole - media::kVoiceHeader);
      at += whole;
    }
  }
  if (d.mode == ADEC_MODE_STREAM) d.pending.erase(d.pending.begin(), d.pending.begin() + static_cast<std::ptrdiff_t>(at));
  return ok;
}

media::SoundPtr take(Key from) {
  auto it = g_decoders.find(from.chn);
  if (it == g_decoders.end() || it->second.frames.empty()) return nullptr;
  media::SoundPtr s = it->second.frames.front();
  it->second.frames.pop_front();
  return s;
}

bool ready(Key from) {
  auto it = g_decoders.find(from.chn);
  return it != g_decoders.end() && !it->second.frames.empty();
}

const bool g_supply = (media::on_sound_supply(kMod, &take, &ready), true);

HI_S32 judge(const ADEC_CHN_ATTR_S& a) {
  if (HI_S32 bad = media::judge_voice(kMod, a.enType, a.pValue)) return bad;
  if (a.u32BufSize < 2 || a.u32BufSize > MAX_AUDIO_FRAME_NUM)
    return refuse(err(kMod, ILLEGAL_PARAM), "buffer of %u frames outside [2, %d]", a.u32BufSize, MAX_AUDIO_FRAME_NUM);
  if (a.enMode >= ADEC_MODE_BUTT) return refuse(err(kMod, ILLEGAL_PARAM), "decoding mode %d unknown", a.enMode);
  return HI_SUCCESS;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_ADEC_CreateChn(ADEC_CHN chn, ADEC_CHN_ATTR_S* attr) {
  HI_S32 rc = createChannel(kMod, chnKey(chn), ADEC_MAX_CHN_NUM, attr, &judge);
  if (rc != HI_SUCCESS) return rc;
  Decoder& d = g_decoders[chn];
  d = Decoder();
  d.codec = media::make_voice_decoder(media::voice_codec(attr->enType, attr->pValue));
  d.type = attr->enType;
  d.mode = attr->enMode;
  d.bufFrames = attr->u32BufSize;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_ADEC_DestroyChn(ADEC_CHN chn) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  HI_S32 rc = destroyChannel(kMod, Found{find(chnKey(chn)), HI_SUCCESS}, chnKey(chn));
  if (rc == HI_SUCCESS) g_decoders.erase(chn);
  return rc;
}

HI_S32 HI_MPI_ADEC_SendStream(ADEC_CHN chn, const AUDIO_STREAM_S* stream, HI_BOOL block) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  if (!stream || !stream->pStream) return refuse(err(kMod, NULL_PTR), "no stream given (null pointer)");
  if (stream->u32Len == 0) return refuse(err(kMod, ILLEGAL_PARAM), "a stream of 0 bytes");
  if (!media::wait_for([&] { return d->frames.size() < d->bufFrames; }, block ? -1 : 0))
    return refuse(err(kMod, BUF_FULL), "the buffer of ADEC 0/%d (%u frames) is full%s", chn, d->bufFrames,
                  block ? " and nothing takes its frames" : "");
  if (!feed(*d, stream->pStream, stream->u32Len))
    return refuse(HI_ERR_ADEC_DECODER_ERR, "%u bytes that are no %s stream (or cut inside a frame in pack mode)",
                  stream->u32Len, d->type == PT_G726 ? "G.726" : d->type == PT_ADPCMA ? "ADPCM" : "voice");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_ADEC_GetFrame(ADEC_CHN chn, AUDIO_FRAME_INFO_S* info, HI_BOOL block) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  if (!info) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  if (!media::wait_for([&] { return !d->frames.empty(); }, block ? -1 : 0))
    return refuse(err(kMod, BUF_EMPTY), "no decoded frame on ADEC 0/%d", chn);
  info->pstFrame = const_cast<AUDIO_FRAME_S*>(media::lend_sound(d->frames.front(), nullptr));
  info->u32Id = d->frames.front()->seq;
  d->frames.pop_front();
  return HI_SUCCESS;
}

HI_S32 HI_MPI_ADEC_ReleaseFrame(ADEC_CHN chn, AUDIO_FRAME_INFO_S* info) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  if (!info || !info->pstFrame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back_sound(*info->pstFrame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame given is not one lent out (released already?)");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_ADEC_ClearChnBuf(ADEC_CHN chn) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  d->frames.clear();
  d->pending.clear();
  return HI_SUCCESS;
}

// What waits in stream mode is decoded as the last frame.
HI_S32 HI_MPI_ADEC_SendEndOfStream(ADEC_CHN chn, HI_BOOL instant) {
  Decoder* d = nullptr;
  if (HI_S32 rc = channelOf(chn, &d)) return rc;
  if (instant) d->frames.clear();
  if (!d->pending.empty()) {
    const std::size_t skip = media::voice_header(d->type) && d->pending.size() > media::kVoiceHeader &&
                                     d->pending[0] == 0 && d->pending[1] == 1
                                 ? media::kVoiceHeader
                                 : 0;
    decodeOne(*d, d->pending.data() + skip, d->pending.size() - skip);
    d->pending.clear();
  }
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
