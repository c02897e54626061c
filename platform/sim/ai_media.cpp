// What audio input channels capture: each enabled channel of an enabled
// device whose frames someone takes (a binding, or a user frame depth for
// GetFrame) captures frames of the device's samples per frame at its sample
// rate, timed by the media clock, from its source: a tone (1 kHz at -12 dBFS
// unless sim.source says otherwise) or an audio file (silence after its
// end). The inner codec shapes what every device captures: its input volume
// in dB, and silence while the microphone or ADC of a side is muted (the
// microphone and ADC gains themselves are not modelled). Voice enhancement
// passes the sound through unchanged; resampling converts it to the rate
// EnableReSmp set.
#include <climits>
#include <cmath>
#include <cstring>
#include <deque>
#include <map>

#include "core/internal.h"
#include "media/audio.h"
#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_AI;
constexpr std::int64_t kCatchUp = 1000000;  // at most this much is caught up after a pause

struct Input {
  double frequency = 1000, level = -12;
  std::string path;  // empty: the tone
  std::vector<std::int16_t> file;
  std::uint32_t fileRate = 0, fileChannels = 0;
  std::size_t position = 0;   // in frames of the file
  std::uint64_t phase = 0;    // samples of the tone so far
  std::int64_t start = INT64_MIN;  // MIN: not capturing
  std::uint64_t frames = 0;
  std::uint32_t seq = 0;
  std::deque<media::SoundPtr> queue;
  std::unique_ptr<media::Resampler> resampler;
  std::uint32_t resampledTo = 0;
};

std::map<Key, Input> g_inputs;
const bool g_reset = (on_reset([] { g_inputs.clear(); }), true);

bool deviceAttr(AUDIO_DEV dev, AIO_ATTR_S* a) {
  const Object* d = find(Key{kMod, dev, -1});
  return d && d->enabled && d->get("PubAttr", a) && a->u32PtNumPerFrm && a->enSamplerate;
}

std::uint32_t depthOf(const Object& o) {
  AI_CHN_PARAM_S p{};
  o.get("ChnParam", &p);
  return p.u32UsrFrmDepth;
}

bool wanted(Key k, const Object& o) {
  AIO_ATTR_S a{};
  return o.enabled && deviceAttr(k.dev, &a) && (depthOf(o) > 0 || media::sound_wanted(k));
}

// When frame n (from 0) of a capture started at start is complete.
std::int64_t dueOf(const Input& in, const AIO_ATTR_S& a, std::uint64_t n) {
  return in.start + static_cast<std::int64_t>((n + 1) * a.u32PtNumPerFrm * 1000000ull / a.enSamplerate);
}

bool muted(unsigned mic, unsigned adc) {
  int gain = 0, mute = 0;
  return (codec_register(mic, &gain, nullptr) && gain) || (codec_register(adc, nullptr, &mute) && mute);
}

media::SoundPtr capture(Key k, const Object& o, Input& in, const AIO_ATTR_S& a, std::int64_t at) {
  const std::uint32_t rate = a.enSamplerate, channels = a.enSoundmode == AUDIO_SOUND_MODE_STEREO ? 2 : 1;
  const std::size_t n = a.u32PtNumPerFrm;
  auto s = std::make_shared<media::Sound>();
  s->rate = rate;
  s->channels = channels;
  s->samples.assign(n * channels, 0);
  if (!in.path.empty()) {
    if (in.fileRate != rate || in.fileChannels != channels) {
      std::string why;
      in.file.clear();
      media::read_audio_file(in.path, rate, channels, &in.file, &why);
      in.fileRate = rate;
      in.fileChannels = channels;
    }
    for (std::size_t i = 0; i < n && in.position < in.file.size() / channels; ++i, ++in.position)
      for (std::uint32_t c = 0; c < channels; ++c) s->samples[i * channels + c] = in.file[in.position * channels + c];
  } else {
    const double amplitude = 32767.0 * std::pow(10.0, in.level / 20.0);
    for (std::size_t i = 0; i < n; ++i, ++in.phase) {
      const double v = amplitude * std::sin(2 * M_PI * in.frequency * static_cast<double>(in.phase) / rate);
      for (std::uint32_t c = 0; c < channels; ++c) s->samples[i * channels + c] = static_cast<std::int16_t>(std::lround(v));
    }
  }
  int volume = 0;
  if (codec_register(0x02, &volume, nullptr)) media::apply_gain(&s->samples, 0, media::from_db(volume));
  const bool mutedSide[2] = {muted(0x13, 0x11), muted(0x14, 0x12)};
  for (std::size_t i = 0; i < s->samples.size(); ++i)
    if (mutedSide[channels == 2 ? i % 2 : 0]) s->samples[i] = 0;
  s->pts = static_cast<std::uint64_t>(at);
  s->seq = in.seq++;
  auto resample = o.values.find("resample");
  if (resample == o.values.end()) return s;
  const std::uint32_t to = static_cast<std::uint32_t>(resample->second);
  if (!in.resampler || in.resampledTo != to) {
    in.resampler = media::make_resampler(rate, to, channels);
    in.resampledTo = to;
  }
  auto out = std::make_shared<media::Sound>(*s);
  out->samples.clear();
  out->rate = to;
  in.resampler->convert(s->samples.data(), n, &out->samples);
  return out;
}

void advance(std::int64_t until) {
  for (const Key& k : objects(kMod)) {
    if (k.dev < 0 || k.chn < 0) continue;
    const Object* o = find(k);
    Input& in = g_inputs[k];
    AIO_ATTR_S a{};
    if (!o || !wanted(k, *o) || !deviceAttr(k.dev, &a)) {
      in.start = INT64_MIN;
      continue;
    }
    if (in.start == INT64_MIN) {
      in.start = until;
      in.frames = 0;
    }
    if (until - dueOf(in, a, in.frames) > kCatchUp)
      in.frames += static_cast<std::uint64_t>((until - dueOf(in, a, in.frames) - kCatchUp) * a.enSamplerate /
                                              (1000000ll * a.u32PtNumPerFrm));
    for (std::int64_t due = dueOf(in, a, in.frames); due <= until; due = dueOf(in, a, ++in.frames)) {
      media::SoundPtr s = capture(k, *o, in, a, due);
      media::deliver_sound(k, s);
      if (std::uint32_t depth = depthOf(*o)) {
        in.queue.push_back(s);
        while (in.queue.size() > depth) in.queue.pop_front();
      }
    }
  }
}

std::int64_t next() {
  std::int64_t due = INT64_MAX;
  for (const Key& k : objects(kMod)) {
    if (k.dev < 0 || k.chn < 0) continue;
    const Object* o = find(k);
    AIO_ATTR_S a{};
    if (!o || !wanted(k, *o) || !deviceAttr(k.dev, &a)) continue;
    auto it = g_inputs.find(k);
    const std::int64_t at =
        it == g_inputs.end() || it->second.start == INT64_MIN ? media::now() : dueOf(it->second, a, it->second.frames);
    if (at < due) due = at;
  }
  return due;
}

const bool g_source = (media::on_source({&advance, &next}), true);

HI_S32 judgeAddress(AUDIO_DEV dev, AI_CHN chn) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return refuse(err(kMod, INVALID_DEVID), "AI device %d outside [0, %d)", dev, AIO_MAX_NUM);
  if (chn < 0 || chn >= AIO_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "AI channel %d outside [0, %d)", chn, AIO_MAX_CHN_NUM);
  return HI_SUCCESS;
}

}  // namespace

namespace media {

bool set_tone(Key k, double frequency, double level, std::string* why) {
  if (!(frequency > 0 && frequency < 24000) || !(level <= 0)) {
    *why = "a tone needs a frequency in (0, 24000) Hz and a level of at most 0 dBFS";
    return false;
  }
  Input& in = g_inputs[k];
  in.path.clear();
  in.file.clear();
  in.frequency = frequency;
  in.level = level;
  return true;
}

bool set_audio_file(Key k, const std::string& path, std::string* why) {
  std::vector<std::int16_t> probe;
  if (!read_audio_file(path, 8000, 1, &probe, why)) return false;
  Input& in = g_inputs[k];
  in.path = path;
  in.file.clear();
  in.fileRate = in.fileChannels = 0;
  in.position = 0;
  return true;
}

}  // namespace media

namespace h {

HI_S32 HI_MPI_AI_GetFrame(AUDIO_DEV dev, AI_CHN chn, AUDIO_FRAME_S* frame, AEC_FRAME_S* aec, HI_S32 ms) {
  if (HI_S32 rc = judgeAddress(dev, chn)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "nowhere to write the frame (null pointer)");
  const Key k{kMod, dev, chn};
  const Object* o = find(k);
  AIO_ATTR_S a{};
  if (!o || !o->enabled || !deviceAttr(dev, &a))
    return refuse(HI_ERR_AI_NOT_ENABLED, "AI %d/%d is not enabled (or its device is not)", dev, chn);
  if (depthOf(*o) == 0)
    return refuse(err(kMod, NOT_PERM), "AI %d/%d has user frame depth 0: SetChnParam{u32UsrFrmDepth} first", dev, chn);
  Input& in = g_inputs[k];
  if (!media::wait_for([&] { return !in.queue.empty(); }, ms))
    return refuse(err(kMod, BUF_EMPTY), "no frame from AI %d/%d within %d ms", dev, chn, ms);
  media::lend_sound(in.queue.front(), frame);
  in.queue.pop_front();
  if (aec) std::memset(aec, 0, sizeof *aec);  // no echo reference frame
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AI_ReleaseFrame(AUDIO_DEV dev, AI_CHN chn, AUDIO_FRAME_S* frame, AEC_FRAME_S*) {
  if (HI_S32 rc = judgeAddress(dev, chn)) return rc;
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  if (!media::take_back_sound(*frame))
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame at 0x%08X is not one lent out (released already?)",
                  frame->u32PhyAddr[0]);
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
