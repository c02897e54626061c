// The simulator's sound: frames of samples moving along audio bindings,
// frames lent to callers, the voice codecs, resampling, audio files read as
// sources and WAV files written by sinks. The audio modules' simulations
// (ai_media.cpp, ao_media.cpp, aenc.cpp, adec.cpp) plug into it.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "sim/sim.h"

namespace sim {
namespace media {

// ---- frames -------------------------------------------------------------------------
// Interleaved 16-bit samples at a rate, with the time stamp and number of
// the frame they came in.
struct Sound {
    std::vector<std::int16_t> samples;
    std::uint32_t rate = 8000, channels = 1;
    std::uint64_t pts = 0;
    std::uint32_t seq = 0;
    std::size_t frames() const { return channels ? samples.size() / channels : 0; }
};
using SoundPtr = std::shared_ptr<const Sound>;

// A frame arriving at an object bound to an audio source (an output
// channel, an encoder): its module registers how it takes it and whether it
// takes frames now (null: always).
void on_sound(int mod, void (*receive)(Key at, const SoundPtr& sound), bool (*wants)(Key at) = nullptr);
void deliver_sound(Key from, const SoundPtr& sound);
bool sound_wanted(Key from);
// Sources that give frames only when asked (a decoder playing into an
// output channel): take answers the next frame, or null; ready whether one
// waits.
void on_sound_supply(int mod, SoundPtr (*take)(Key from), bool (*ready)(Key from));
SoundPtr take_sound(Key from);
bool sound_ready(Key from);

// Lends a frame as the platform describes it: 16-bit planes, one per
// channel, at addresses HI_MPI_SYS_Mmap maps; alive until taken back.
// Answers the simulator's own description (for calls that hand out a
// pointer to it) and copies it into out when given.
const AUDIO_FRAME_S* lend_sound(const SoundPtr& sound, AUDIO_FRAME_S* out);
// The frame a description lent out names, taken back; false when it names
// none (forged, or released already).
bool take_back_sound(const AUDIO_FRAME_S& frame);
// A caller's frame read into a sound at rate; null when it names no samples
// or has a width other than 8 or 16 bits (8-bit samples are widened).
SoundPtr read_sound(const AUDIO_FRAME_S& frame, std::uint32_t rate);

// Multiplies every sample by gain (a factor), clamped to 16 bits.
void apply_gain(std::vector<std::int16_t>* samples, std::size_t from, double gain);
inline double from_db(double db) { return db <= -121 ? 0.0 : std::pow(10.0, db / 20.0); }

// ---- voice codecs ---------------------------------------------------------------------
// A payload and its member's setting (G726_BPS_E, ADPCM_TYPE_E).
struct VoiceCodec {
    PAYLOAD_TYPE_E type = PT_G711A;
    int g726 = G726_32K;
    int adpcm = ADPCM_TYPE_DVI4;
};
bool voice_payload(PAYLOAD_TYPE_E type);  // G711A, G711U, G726, ADPCMA, LPCM
// The codec of a payload and its member (pValue of the encoder's or the
// decoder's attributes, whose G.726 and ADPCM members are laid out alike).
VoiceCodec voice_codec(PAYLOAD_TYPE_E type, const void* member);
// Judges a payload and its member for module mod: 0, or the refusal.
HI_S32 judge_voice(int mod, PAYLOAD_TYPE_E type, const void* member);

class VoiceEncoder {
public:
    virtual ~VoiceEncoder() = default;
    // One frame of mono samples into out, without the frame header.
    virtual bool encode(const std::int16_t* samples, std::size_t n, std::vector<std::uint8_t>* out) = 0;
};
class VoiceDecoder {
public:
    virtual ~VoiceDecoder() = default;
    // One frame's payload (no header) into mono samples appended to out.
    virtual bool decode(const std::uint8_t* bytes, std::size_t n, std::vector<std::int16_t>* out) = 0;
};
// FFmpeg's codecs in host builds (pcm_alaw, pcm_mulaw, adpcm_g726), stand-ins
// of the same frame sizes without it; ADPCM (DVI4/IMA) and LPCM are the
// simulator's own in both.
std::unique_ptr<VoiceEncoder> make_voice_encoder(const VoiceCodec& codec);
std::unique_ptr<VoiceDecoder> make_voice_decoder(const VoiceCodec& codec);
// The simulator's own codecs of ADPCM (DVI4, IMA) and LPCM; null for other payloads.
std::unique_ptr<VoiceEncoder> make_own_encoder(const VoiceCodec& codec);
std::unique_ptr<VoiceDecoder> make_own_decoder(const VoiceCodec& codec);

// The platform's voice frame header before each encoded frame of G.711,
// G.726 and ADPCM: 0x00 0x01, the payload length in 16-bit words, 0x00.
bool voice_header(PAYLOAD_TYPE_E type);
constexpr std::size_t kVoiceHeader = 4;

// ---- resampling and files -------------------------------------------------------------
class Resampler {
public:
    virtual ~Resampler() = default;
    // Interleaved frames at the input rate into frames at the output rate,
    // appended to out; state carries over from call to call.
    virtual void convert(const std::int16_t* in, std::size_t frames, std::vector<std::int16_t>* out) = 0;
};
// libswresample in host builds, linear interpolation without it.
std::unique_ptr<Resampler> make_resampler(std::uint32_t in_rate, std::uint32_t out_rate, std::uint32_t channels);

// Decodes a whole audio file into interleaved samples at rate and channels;
// false with the reason in *why (a build without FFmpeg reads none).
bool read_audio_file(const std::string& path, std::uint32_t rate, std::uint32_t channels,
                     std::vector<std::int16_t>* out, std::string* why);

// Whether FFmpeg's audio codecs are built in.
bool real_audio_codecs();

// A 16-bit PCM WAV file, its sizes written when it is finished (finish, or
// destruction).
class WavWriter {
public:
    WavWriter(FILE* f, std::uint32_t rate, std::uint32_t channels);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;
    void write(const std::int16_t* samples, std::size_t count);
    void silence(std::size_t frames);
    void finish();
    std::uint32_t rate() const { return rate_; }
    std::uint32_t channels() const { return channels_; }

private:
    FILE* f_;
    std::uint32_t rate_, channels_;
    std::uint64_t bytes_ = 0;
};

// ---- what scripts set through tessel.sim --------------------------------------------
// The sound an input channel captures: a tone (frequency in hertz, level in
// dBFS) or an audio file (path); false with the reason.
bool set_tone(Key input, double frequency, double level, std::string* why);
bool set_audio_file(Key input, const std::string& path, std::string* why);
// Where an output channel's sound is written as WAV; an empty path finishes
// the file. False with the reason.
bool set_recording(Key output, const std::string& path, std::string* why);
// An output channel (chn < 0: every channel of the device) stopped: its
// buffer is dropped and its recording finished; cleared: its buffer dropped.
void output_stopped(Key output);
void output_cleared(Key output);

}  // namespace media
}  // namespace sim
