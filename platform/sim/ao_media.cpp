// What audio output channels play: each enabled channel keeps a buffer of
// the device's frame count (u32FrmNum frames of u32PtNumPerFrm samples) that
// SendFrame, an input channel or a decoder bound to it fills, and plays one
// frame of it each frame period from one period after the first frame came,
// timed by the media clock. What it plays is shaped by the device's volume,
// its mute (fading over 2^rate frames when the mute asked to fade) and the
// inner codec (output volume in dB; silence while the DAC of a side or the
// soft mute is on; the DAC gains themselves are not modelled), and written
// to the channel's recording (sim.record) as 16-bit WAV at the device's
// rate and channel count. A paused channel plays silence. Frames arriving
// at another rate are resampled where EnableReSmp says so.
//
// Findings: "ao-starved" when the buffer ran dry and frames came again
// within a second (the script sends more slowly than the device plays; a
// longer pause starts a new stream), "ao-overrun" when a
// frame finds no room (faster), "frame-size-mismatch" for a frame whose
// sample count is not the device's samples per frame.
#include <algorithm>
#include <climits>
#include <cstring>
#include <deque>
#include <map>

#include "core/internal.h"
#include "media/audio.h"
#include "media/media.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_AO;
constexpr std::int64_t kNewStream = 1000000;  // microseconds

struct Output {
  std::deque<std::int16_t> buffer;  // interleaved, at the device's rate and channels
  bool playing = false;
  std::int64_t start = 0;  // when the first frame of this run came
  std::uint64_t ticks = 0;
  std::int64_t stoppedAt = INT64_MIN;
  double fade = 1.0;
  bool starvedReported = false, overrunReported = false, sizeReported = false, rateReported = false;
  std::unique_ptr<media::Resampler> resampler;
  std::uint32_t resampledFrom = 0;
  std::string recordPath;
  std::unique_ptr<media::WavWriter> recording;
};

std::map<Key, Output> g_outputs;
const bool g_reset = (on_reset([] { g_outputs.clear(); }), true);

bool deviceAttr(AUDIO_DEV dev, AIO_ATTR_S* a) {
  const Object* d = find(Key{kMod, dev, -1});
  return d && d->enabled && d->get("PubAttr", a) && a->u32PtNumPerFrm && a->enSamplerate;
}

bool enabled(Key k, AIO_ATTR_S* a) {
  const Object* o = find(k);
  return o && o->enabled && deviceAttr(k.dev, a);
}

std::uint32_t channelsOf(const AIO_ATTR_S& a) { return a.enSoundmode == AUDIO_SOUND_MODE_STEREO ? 2 : 1; }
std::size_t capacityOf(const AIO_ATTR_S& a) { return std::max<std::uint32_t>(a.u32FrmNum, 2) * a.u32PtNumPerFrm; }
std::size_t framesIn(const Output& out, const AIO_ATTR_S& a) { return out.buffer.size() / channelsOf(a); }

// Tick n of a run plays the frame of the period ending one period after
// the n-th frame came.
std::int64_t tickOf(const Output& out, const AIO_ATTR_S& a, std::uint64_t n) {
  return out.start + static_cast<std::int64_t>((n + 2) * a.u32PtNumPerFrm * 1000000ull / a.enSamplerate);
}

std::string name(Key k) { return label(k); }

// The sound in the device's layout: its rate (resampled when the channel
// resamples from the sound's rate), its channel count.
std::vector<std::int16_t> layout(Key k, Output& out, const media::Sound& s, const AIO_ATTR_S& a) {
  const std::uint32_t channels = channelsOf(a), rate = s.rate ? s.rate : a.enSamplerate;
  std::vector<std::int16_t> v;
  v.reserve(s.frames() * channels);
  for (std::size_t i = 0; i < s.frames(); ++i)
    for (std::uint32_t c = 0; c < channels; ++c) v.push_back(s.samples[i * s.channels + std::min(c, s.channels - 1)]);
  if (rate == a.enSamplerate) return v;
  const Object* o = find(k);
  auto resample = o->values.find("resample");
  if (resample == o->values.end() || static_cast<std::uint32_t>(resample->second) != rate) {
    if (!out.rateReported)
      finding("ao-rate-mismatch", name(k) + " plays at " + std::to_string(a.enSamplerate) + " Hz and is given " +
                                      std::to_string(rate) + " Hz frames without resampling (EnableReSmp): they "
                                      "play at the wrong speed");
    out.rateReported = true;
    return v;
  }
  if (!out.resampler || out.resampledFrom != rate) {
    out.resampler = media::make_resampler(rate, a.enSamplerate, channels);
    out.resampledFrom = rate;
  }
  std::vector<std::int16_t> r;
  out.resampler->convert(v.data(), v.size() / channels, &r);
  return r;
}

bool room(const Output& out, const AIO_ATTR_S& a, std::size_t frames) {
  return out.buffer.empty() || framesIn(out, a) + frames <= capacityOf(a);
}

void openRecording(Output& out, const AIO_ATTR_S& a) {
  if (out.recording || out.recordPath.empty()) return;
  if (FILE* f = std::fopen(out.recordPath.c_str(), "wb"))
    out.recording.reset(new media::WavWriter(f, a.enSamplerate, channelsOf(a)));
  out.recordPath.clear();
}

void accept(Key k, Output& out, std::vector<std::int16_t>&& v, const AIO_ATTR_S& a) {
  if (v.empty()) return;
  if (!out.playing) {
    const std::int64_t now = media::now();
    const std::int64_t period = static_cast<std::int64_t>(a.u32PtNumPerFrm * 1000000ull / a.enSamplerate);
    const std::int64_t gap = out.stoppedAt == INT64_MIN ? 0 : now + period - out.stoppedAt;
    if (gap > 0) {
      // a pause longer than kNewStream is a new stream, not a late frame
      if (!out.starvedReported && gap <= kNewStream)
        finding("ao-starved", name(k) + " ran dry for " + std::to_string((now + period - out.stoppedAt) / 1000) +
                                  " ms: frames come more slowly than the device plays them");
      out.starvedReported = out.starvedReported || gap <= kNewStream;
      openRecording(out, a);
      if (out.recording) out.recording->silence(static_cast<std::size_t>(gap * a.enSamplerate / 1000000));
    }
    out.playing = true;
    out.start = now;
    out.ticks = 0;
  }
  out.buffer.insert(out.buffer.end(), v.begin(), v.end());
}

double fadeStep(AUDIO_DEV dev, bool out) {
  AUDIO_FADE_S fade{};
  const Object* d = find(Key{kMod, dev, -1});
  if (!d || !d->get("Fade", &fade) || !fade.bFade) return 1.0;
  return 1.0 / static_cast<double>(1u << (out ? fade.enFadeOutRate : fade.enFadeInRate));
}

// One frame period played at time t.
void tick(Key k, Output& out, const AIO_ATTR_S& a) {
  const std::uint32_t channels = channelsOf(a);
  const std::size_t n = a.u32PtNumPerFrm * channels;
  const Object* o = find(k);
  std::vector<std::int16_t> block(n, 0);
  if (!o->values.count("paused")) {
    const std::size_t take = std::min(n, out.buffer.size());
    std::copy(out.buffer.begin(), out.buffer.begin() + static_cast<std::ptrdiff_t>(take), block.begin());
    out.buffer.erase(out.buffer.begin(), out.buffer.begin() + static_cast<std::ptrdiff_t>(take));
  }
  const Object* d = find(Key{kMod, k.dev, -1});
  HI_S32 volume = 0;
  d->get("Volume", &volume);
  media::apply_gain(&block, 0, media::from_db(volume));
  int codecVolume = 0;
  if (codec_register(0x03, &codecVolume, nullptr)) media::apply_gain(&block, 0, media::from_db(codecVolume));
  // the mute, reached gradually when it fades
  auto muted = d->values.find("muted");
  const double target = muted != d->values.end() && muted->second ? 0.0 : 1.0;
  const double step = fadeStep(k.dev, target == 0.0);
  const double from = out.fade;
  out.fade = target < from ? std::max(target, from - step) : std::min(target, from + step);
  for (std::size_t i = 0; i < n; ++i) {
    const double g = from + (out.fade - from) * static_cast<double>(i / channels + 1) / a.u32PtNumPerFrm;
    block[i] = static_cast<std::int16_t>(block[i] * g);
  }
  int gain = 0, mute = 0;
  const bool soft = codec_register(0x18, &gain, nullptr);
  for (std::uint32_t c = 0; c < channels; ++c) {
    const bool dacMute = (codec_register(c ? 0x17 : 0x16, &gain, nullptr) && gain) ||
                         (codec_register(c ? 0x10 : 0x0F, nullptr, &mute) && mute);
    if (soft || dacMute)
      for (std::size_t i = c; i < n; i += channels) block[i] = 0;
  }
  openRecording(out, a);
  if (out.recording) out.recording->write(block.data(), block.size());
}

// Frames a bound decoder offers, while there is room.
void topUp(Key k, Output& out, const AIO_ATTR_S& a) {
  Key src{0, 0, 0};
  if (!source_of(k, &src)) return;
  while (media::sound_ready(src) && room(out, a, a.u32PtNumPerFrm)) {
    media::SoundPtr s = media::take_sound(src);
    if (!s) break;
    accept(k, out, layout(k, out, *s, a), a);
  }
}

void advance(std::int64_t until) {
  for (const Key& k : objects(kMod)) {
    AIO_ATTR_S a{};
    if (k.dev < 0 || k.chn < 0 || !enabled(k, &a)) continue;
    Output& out = g_outputs[k];
    topUp(k, out, a);
    while (out.playing && tickOf(out, a, out.ticks) <= until) {
      const std::int64_t at = tickOf(out, a, out.ticks++);
      tick(k, out, a);
      topUp(k, out, a);
      if (out.buffer.empty()) {
        out.playing = false;
        out.stoppedAt = at;
      }
    }
  }
}

std::int64_t next() {
  std::int64_t due = INT64_MAX;
  for (const Key& k : objects(kMod)) {
    AIO_ATTR_S a{};
    if (k.dev < 0 || k.chn < 0 || !enabled(k, &a)) continue;
    auto it = g_outputs.find(k);
    Key src{0, 0, 0};
    if (it != g_outputs.end() && it->second.playing) due = std::min(due, tickOf(it->second, a, it->second.ticks));
    else if (source_of(k, &src) && media::sound_ready(src)) due = std::min(due, media::now());
  }
  return due;
}

const bool g_source = (media::on_source({&advance, &next}), true);

void checkSize(Key k, Output& out, const media::Sound& s, const AIO_ATTR_S& a) {
  const std::uint32_t rate = s.rate ? s.rate : a.enSamplerate;
  const std::uint64_t expected = static_cast<std::uint64_t>(a.u32PtNumPerFrm) * rate / a.enSamplerate;
  if (s.frames() == expected || out.sizeReported) return;
  out.sizeReported = true;
  finding("frame-size-mismatch", name(k) + " plays frames of " + std::to_string(a.u32PtNumPerFrm) +
                                     " samples (u32PtNumPerFrm); it was given one of " + std::to_string(s.frames()));
}

void receive(Key at, const media::SoundPtr& s) {
  AIO_ATTR_S a{};
  if (!enabled(at, &a)) return;
  Output& out = g_outputs[at];
  std::vector<std::int16_t> v = layout(at, out, *s, a);
  if (!room(out, a, v.size() / channelsOf(a))) {
    if (!out.overrunReported)
      finding("ao-overrun", name(at) + ": its buffer of " + std::to_string(a.u32FrmNum) +
                                " frames is full: frames from its source are lost");
    out.overrunReported = true;
    return;
  }
  accept(at, out, std::move(v), a);
}

bool wants(Key at) {
  AIO_ATTR_S a{};
  return enabled(at, &a);
}

const bool g_receiver = (media::on_sound(kMod, &receive, &wants), true);

}  // namespace

namespace media {

bool set_recording(Key k, const std::string& path, std::string* why) {
  Output& out = g_outputs[k];
  out.recording.reset();
  out.recordPath.clear();
  out.stoppedAt = INT64_MIN;  // a new recording starts with what plays next
  if (path.empty()) return true;
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    *why = "cannot write " + path;
    return false;
  }
  std::fclose(f);
  out.recordPath = path;
  AIO_ATTR_S a{};
  if (deviceAttr(k.dev, &a)) openRecording(out, a);
  return true;
}

void output_stopped(Key k) {
  for (auto& entry : g_outputs)
    if (entry.first.dev == k.dev && (k.chn < 0 || entry.first.chn == k.chn)) {
      Output& out = entry.second;
      out.buffer.clear();
      out.playing = false;
      out.stoppedAt = INT64_MIN;
      out.recording.reset();
    }
}

void output_cleared(Key k) {
  auto it = g_outputs.find(k);
  if (it != g_outputs.end()) it->second.buffer.clear();
}

}  // namespace media

namespace h {

HI_S32 HI_MPI_AO_SendFrame(AUDIO_DEV dev, AO_CHN chn, const AUDIO_FRAME_S* frame, HI_S32 ms) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return refuse(err(kMod, INVALID_DEVID), "AO device %d outside [0, %d)", dev, AIO_MAX_NUM);
  if (chn < 0 || chn >= AIO_MAX_CHN_NUM)
    return refuse(err(kMod, INVALID_CHNID), "AO channel %d outside [0, %d)", chn, AIO_MAX_CHN_NUM);
  if (!frame) return refuse(err(kMod, NULL_PTR), "no frame given (null pointer)");
  const Key k{kMod, dev, chn};
  AIO_ATTR_S a{};
  if (!enabled(k, &a)) return refuse(HI_ERR_AO_NOT_ENABLED, "AO %d/%d is not enabled (or its device is not)", dev, chn);
  const Object* o = find(k);
  auto resample = o->values.find("resample");
  const std::uint32_t rate =
      resample != o->values.end() ? static_cast<std::uint32_t>(resample->second) : static_cast<std::uint32_t>(a.enSamplerate);
  media::SoundPtr s = media::read_sound(*frame, rate);
  if (!s || s->frames() == 0)
    return refuse(err(kMod, ILLEGAL_PARAM), "the frame names no samples (width %d, mode %d, %u bytes)",
                  frame->enBitwidth, frame->enSoundmode, frame->u32Len);
  Output& out = g_outputs[k];
  checkSize(k, out, *s, a);
  std::vector<std::int16_t> v = layout(k, out, *s, a);
  const std::size_t frames = v.size() / channelsOf(a);
  if (!media::wait_for([&] { return room(out, a, frames); }, ms)) {
    if (!out.overrunReported)
      finding("ao-overrun", name(k) + ": its buffer of " + std::to_string(a.u32FrmNum) +
                                " frames is full: the script sends faster than the device plays");
    out.overrunReported = true;
    return refuse(err(kMod, BUF_FULL), "the buffer of AO %d/%d (%u frames) stayed full for %d ms", dev, chn,
                  a.u32FrmNum, ms);
  }
  accept(k, out, std::move(v), a);
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
