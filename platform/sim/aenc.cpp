// Audio encoder channels: created with a payload the platform has built in
// (G.711 A-law and mu-law, G.726, ADPCM, LPCM), frames of u32PtNumPerFrm
// samples and a buffer of u32BufSize frames, once the system is up. Each
// frame an input channel bound to the channel captures, or SendFrame hands
// in, is encoded (the left channel of a stereo frame) and waits in the
// buffer, with the platform's voice frame header where the payload has one,
// until GetStream takes it and ReleaseStream gives it back. A frame that
// finds the buffer full is lost (finding "aenc-buffer-overflow"); a frame of
// another size than the channel's is reported ("frame-size-mismatch") and
// encoded as it is. The descriptor polls readable while a frame waits.
#include <cstring>
#include <deque>
#include <map>

#include "media/audio.h"
#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_AENC;

struct Coded {
  std::vector<std::uint8_t> bytes;
  std::uint64_t pts = 0;
  std::uint32_t seq = 0;
};

struct Encoder {
  std::unique_ptr<media::VoiceEncoder> codec;
  PAYLOAD_TYPE_E type = PT_G711A;
  std::uint32_t frameSamples = 0, bufFrames = 0, seq = 0;
  std::deque<std::shared_ptr<Coded>> ready, held;
  bool overflowing = false, sizeReported = false;
  std::unique_ptr<media::Signal> signal;
};

std::map<AENC_CHN, Encoder> g_encoders;
const bool g_reset = (on_reset([] { g_encoders.clear(); }), true);

Key chnKey(AENC_CHN chn) { return Key{kMod, 0, chn}; }

bool exists(Key k) { return find(chnKey(k.chn)) != nullptr; }
const bool g_endpoint = (on_endpoint(kMod, &exists), true);

HI_S32 channelOf(AENC_CHN chn, Encoder** e) {
  if (chn < 0 || chn >= AENC_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "AENC channel %d outside [0, %d)", chn, AENC_MAX_CHN_NUM);
  auto it = g_encoders.find(chn);
  if (!find(chnKey(chn)) || it == g_encoders.end())
    return refuse(err(kMod, UNEXIST), "AENC 0/%d does not exist", chn);
  *e = &it->second;
  return HI_SUCCESS;
}

void sync(Encoder& e) {
  if (e.signal) e.signal->set(!e.ready.empty());
}

void encode(AENC_CHN chn, Encoder& e, const media::Sound& s) {
  if (s.frames() != e.frameSamples && !e.sizeReported) {
    e.sizeReported = true;
    finding("frame-size-mismatch", label(chnKey(chn)) + " encodes frames of " + std::to_string(e.frameSamples) +
                                       " samples (u32PtNumPerFrm); it was given one of " + std::to_string(s.frames()));
  }
  if (e.ready.size() + e.held.size() >= e.bufFrames) {
    if (!e.overflowing)
      finding("aenc-buffer-overflow", label(chnKey(chn)) + ": its buffer of " + std::to_string(e.bufFrames) +
                                          " frames is full: frames are lost until GetStream and ReleaseStream make room");
    e.overflowing = true;
    return;
  }
  std::vector<std::int16_t> mono(s.frames());
  for (std::size_t i = 0; i < mono.size(); ++i) mono[i] = s.samples[i * s.channels];
  auto c = std::make_shared<Coded>();
  if (media::voice_header(e.type)) c->bytes.assign(media::kVoiceHeader, 0);
  if (!e.codec || !e.codec->encode(mono.data(), mono.size(), &c->bytes)) return;
  if (media::voice_header(e.type)) {
    const std::size_t words = (c->bytes.size() - media::kVoiceHeader) / 2;
    c->bytes[1] = 1;
    c->bytes[2] = static_cast<std::uint8_t>(words & 0xFF);
    c->bytes[3] = static_cast<std::uint8_t>(words >> 8);
  }
  c->pts = s.pts;
  c->seq = e.seq++;
  e.ready.push_back(c);
  sync(e);
}

void receive(Key at, const media::SoundPtr& s) {
  auto it = g_encoders.find(at.chn);
  if (it != g_encoders.end() && find(chnKey(at.chn))) encode(at.chn, it->second, *s);
}

const bool g_receiver = (media::on_sound(kMod, &receive), true);

// The payloads the platform encodes without a registered encoder, and
// their members' ranges.
HI_S32 judge(const AENC_CHN_ATTR_S& a) {
  if (HI_S32 bad = media::judge_voice(kMod, a.enType, a.pValue)) return bad;
  if (a.u32PtNumPerFrm < MIN_AUDIO_POINT_NUM || a.u32PtNumPerFrm > MAX_AUDIO_POINT_NUM)
    return refuse(err(kMod, ILLEGAL_PARAM), "%u samples per frame outside [%d, %d]", a.u32PtNumPerFrm,
                  MIN_AUDIO_POINT_NUM, MAX_AUDIO_POINT_NUM);
  if (a.u32BufSize < 2 || a.u32BufSize > MAX_AUDIO_FRAME_NUM)
    return refuse(err(kMod, ILLEGAL_PARAM), "buffer of %u frames outside [2, %d]", a.u32BufSize, MAX_AUDIO_FRAME_NUM);
  return HI_SUCCESS;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_AENC_CreateChn(AENC_CHN chn, const AENC_CHN_ATTR_S* attr) {
  HI_S32 rc = createChannel(kMod, chnKey(chn), AENC_MAX_CHN_NUM, attr, &judge);
  if (rc != HI_SUCCESS) return rc;
  Encoder& e = g_encoders[chn];
  e = Encoder();
  e.codec = media::make_voice_encoder(media::voice_codec(attr->enType, attr->pValue));
  e.type = attr->enType;
  e.frameSamples = attr->u32PtNumPerFrm;
  e.bufFrames = attr->u32BufSize;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AENC_DestroyChn(AENC_CHN chn) {
  Encoder* e = nullptr;
  if (HI_S32 rc = channelOf(chn, &e)) return rc;
  HI_S32 rc = destroyChannel(kMod, Found{find(chnKey(chn)), HI_SUCCESS}, chnKey(chn));
  if (rc == HI_SUCCESS) g_encoders.erase(chn);
  return rc;
}

HI_S32 HI_MPI_AENC_SendFrame(AENC_CHN chn, const AUDIO_FRAME_S* frame, const AEC_FRAME_S*) {
  Encoder* e = nullptr;
  if (HI_S32 rc = channelOf(chn, &e)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  media::SoundPtr s = media::read_sound(*frame, 0);
  if (!s || s->frames() == 0)
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame names no samples (width %d, mode %d, %u bytes)",
                  frame->enBitwidth, frame->enSoundmode, frame->u32Len);
  encode(chn, *e, *s);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AENC_GetStream(AENC_CHN chn, AUDIO_STREAM_S* stream, HI_S32 ms) {
  Encoder* e = nullptr;
  if (HI_S32 rc = channelOf(chn, &e)) return rc;
  if (!stream) return refuse(err(kMod, NULL_PTR), "nowhere to write the stream (null pointer)");
  if (!media::wait_for([&] { return !e->ready.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no encoded frame on AENC 0/%d within %d ms", chn, ms);
  std::shared_ptr<Coded> c = e->ready.front();
  e->ready.pop_front();
  e->held.push_back(c);
  sync(*e);
  std::memset(stream, 0, sizeof *stream);
  stream->pStream = c->bytes.data();
  stream->u32Len = static_cast<HI_U32>(c->bytes.size());
  stream->u64TimeStamp = c->pts;
  stream->u32Seq = c->seq;
  return HI_SUCCESS;
}

// Streams come back in the order they were got.
HI_S32 HI_MPI_AENC_ReleaseStream(AENC_CHN chn, const AUDIO_STREAM_S* stream) {
  Encoder* e = nullptr;
  if (HI_S32 rc = channelOf(chn, &e)) return rc;
  if (!stream) return refuse(err(kMod, NULL_PTR), "no stream given (null pointer)");
  if (e->held.empty() || stream->pStream != e->held.front()->bytes.data())
    return refuse(err(kMod, ILLEGAL_PARAM), "the stream given is not the oldest one got from AENC 0/%d", chn);
  e->held.pop_front();
  e->overflowing = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AENC_GetFd(AENC_CHN chn) {
  Encoder* e = nullptr;
  if (HI_S32 rc = channelOf(chn, &e)) return rc;
  if (!e->signal) e->signal.reset(new media::Signal());
  media::pump();
  sync(*e);
  return e->signal->fd();
}

}  // namespace h
}  // namespace sim
