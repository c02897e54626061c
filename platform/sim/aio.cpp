// Audio input and output devices and channels as the platform has them.
//
// A device (AI or AO, dev, -1) takes its public attributes while disabled
// (sample rates of the audio codecs, 8 or 16 bits, 1 to 16 channels, an even
// count in stereo, frames of 80 to 2048 samples) and is then enabled, with
// the system up. A channel (AI or AO, dev, chn) is enabled only on an enabled
// device and below the channel count its attributes enable (halved in
// stereo); resampling (to a rate other than the device's) and voice quality
// enhancement run only on enabled channels; input channels feed output
// channels through bindings. Disabling a device under enabled channels goes
// through and is reported as a finding.
// Set... calls store what they accept and Get... calls answer it, or the
// platform's defaults.
#include <string>

#include "media/audio.h"
#include "stored.h"

namespace sim {
namespace {

HI_S32 fault(int mod, int reason) { return err(mod, reason); }

Key devKey(int mod, AUDIO_DEV dev) { return Key{mod, dev, -1}; }
Key chnKey(int mod, AUDIO_DEV dev, int chn) { return Key{mod, dev, chn}; }

// A binding reaches a channel that has been enabled.
bool channelExists(Key k) { return find(Key{k.mod, k.dev, k.chn}) != nullptr; }
const bool g_endpoints = (on_endpoint(HI_ID_AI, channelExists), on_endpoint(HI_ID_AO, channelExists), true);

const char* name(int mod) { return mod == HI_ID_AI ? "AI" : "AO"; }

HI_S32 badDevice(int mod, AUDIO_DEV dev) {
  return refuse(fault(mod, INVALID_DEVID), "%s device %d outside [0, %d)", name(mod), dev, AIO_MAX_NUM);
}

// A device and channel number within the chip's; 0 or the code.
HI_S32 badAddress(int mod, AUDIO_DEV dev, int chn) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return badDevice(mod, dev);
  if (chn < 0 || chn >= AIO_MAX_CHN_NUM)
    return refuse(fault(mod, INVALID_CHNID), "%s channel %d outside [0, %d)", name(mod), chn, AIO_MAX_CHN_NUM);
  return HI_SUCCESS;
}

Found device(int mod, AUDIO_DEV dev) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return missing(badDevice(mod, dev));
  return {&obtain(devKey(mod, dev)), HI_SUCCESS};
}

// A channel that has been enabled at least once; calls on one never enabled
// are not permitted.
Found channel(int mod, AUDIO_DEV dev, int chn) {
  if (HI_S32 bad = badAddress(mod, dev, chn)) return missing(bad);
  Object* o = find(chnKey(mod, dev, chn));
  if (o) return {o, HI_SUCCESS};
  return missing(refuse(fault(mod, NOT_PERM), "%s was never enabled", label(chnKey(mod, dev, chn)).c_str()));
}

// A channel that is enabled now.
Found enabledChannel(int mod, AUDIO_DEV dev, int chn) {
  Found c = channel(mod, dev, chn);
  if (c.o && !c.o->enabled)
    return missing(refuse(fault(mod, NOT_PERM), "%s is not enabled", label(chnKey(mod, dev, chn)).c_str()));
  return c;
}

bool sampleRate(AUDIO_SAMPLE_RATE_E r) {
  static const int rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
  for (int known : rates)
    if (static_cast<int>(r) == known) return true;
  return false;
}

HI_S32 judgeAttr(int mod, const AIO_ATTR_S& a) {
  return checks(mod)
      .rule(sampleRate(a.enSamplerate), "sample rate %d Hz is none of the codecs' (8000 to 48000)", a.enSamplerate)
      .rule(a.enBitwidth == AUDIO_BIT_WIDTH_8 || a.enBitwidth == AUDIO_BIT_WIDTH_16,
            "bit width %d: 8 or 16 bits only (0 or 1)", a.enBitwidth)
      .below("work mode", a.enWorkmode, AIO_MODE_BUTT)
      .below("sound mode", a.enSoundmode, AUDIO_SOUND_MODE_BUTT)
      .range("samples per frame", a.u32PtNumPerFrm, 80, 2048)
      .range("frame count", a.u32FrmNum, 2, 50)
      .range("channel count", a.u32ChnCnt, 1, 16)
      .rule(a.enSoundmode != AUDIO_SOUND_MODE_STEREO || a.u32ChnCnt % 2 == 0,
            "%u channels in stereo: an even count", a.u32ChnCnt);
}

int channelCount(const Object& d) {
  AIO_ATTR_S a{};
  if (!d.get("PubAttr", &a)) return 0;
  return a.enSoundmode == AUDIO_SOUND_MODE_STEREO ? static_cast<int>(a.u32ChnCnt / 2) : static_cast<int>(a.u32ChnCnt);
}

// ---- the shapes both directions share --------------------------------------------------

HI_S32 deviceOn(int mod, AUDIO_DEV dev, const char* what) {
  return refuse(fault(mod, NOT_PERM), "%s device %d is enabled: disable it before %s", name(mod), dev, what);
}

HI_S32 setPubAttr(int mod, AUDIO_DEV dev, const AIO_ATTR_S* attr) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (!attr) return refuse(fault(mod, NULL_PTR), "no attributes given (null pointer)");
  if (d.o->enabled) return deviceOn(mod, dev, "setting its attributes");
  if (HI_S32 bad = judgeAttr(mod, *attr)) return bad;
  d.o->put("PubAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 clrPubAttr(int mod, AUDIO_DEV dev) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (d.o->enabled) return deviceOn(mod, dev, "clearing its attributes");
  d.o->attrs.erase("PubAttr");
  return HI_SUCCESS;
}

HI_S32 enable(int mod, AUDIO_DEV dev) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (!sys_ready()) return notReady(mod);
  if (!d.o->has("PubAttr"))
    return refuse(fault(mod, NOT_CONFIG), "%s device %d has no attributes (SetPubAttr)", name(mod), dev);
  d.o->enabled = true;
  return HI_SUCCESS;
}

HI_S32 disable(int mod, AUDIO_DEV dev) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (d.o->enabled)
    for (const Key& k : objects(mod))
      if (k.dev == dev && k.chn >= 0 && find(k)->enabled) {
        finding("device-disabled-under-channels", std::string(name(mod)) + " device " + std::to_string(dev) +
                                                      " disabled under its enabled channel " + std::to_string(k.chn));
        break;
      }
  d.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 enableChn(int mod, AUDIO_DEV dev, int chn) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (HI_S32 bad = badAddress(mod, dev, chn)) return bad;
  if (!d.o->enabled) return refuse(fault(mod, NOT_PERM), "%s device %d is not enabled", name(mod), dev);
  if (chn >= channelCount(*d.o))
    return refuse(fault(mod, INVALID_CHNID), "%s channel %d: the device's attributes enable %d channel(s)", name(mod),
                  chn, channelCount(*d.o));
  obtain(chnKey(mod, dev, chn)).enabled = true;
  return HI_SUCCESS;
}

// Disabling a channel never enabled is no error.
HI_S32 disableChn(int mod, AUDIO_DEV dev, int chn) {
  if (HI_S32 bad = badAddress(mod, dev, chn)) return bad;
  if (Object* o = find(chnKey(mod, dev, chn))) o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 setTrackMode(int mod, AUDIO_DEV dev, AUDIO_TRACK_MODE_E mode) {
  Found d = device(mod, dev);
  if (d.o && !d.o->enabled)
    return refuse(fault(mod, NOT_PERM), "%s device %d is not enabled: set its track mode once it is", name(mod), dev);
  return store(mod, d, "TrackMode", &mode, [mod](AUDIO_TRACK_MODE_E m) {
    return checks(mod).below("track mode", m, AUDIO_TRACK_BUTT);
  });
}

// The device's sample rate; 0 when it has no attributes.
int deviceRate(int mod, AUDIO_DEV dev) {
  AIO_ATTR_S a{};
  const Object* d = find(devKey(mod, dev));
  return d && d->get("PubAttr", &a) ? static_cast<int>(a.enSamplerate) : 0;
}

// Resampling converts between the device's rate and another one.
HI_S32 enableReSmp(int mod, AUDIO_DEV dev, int chn, AUDIO_SAMPLE_RATE_E rate) {
  Found c = enabledChannel(mod, dev, chn);
  if (!c.o) return c.rc;
  if (!sampleRate(rate))
    return refuse(fault(mod, ILLEGAL_PARAM), "sample rate %d Hz is none of the codecs' (8000 to 48000)", rate);
  if (static_cast<int>(rate) == deviceRate(mod, dev))
    return refuse(fault(mod, ILLEGAL_PARAM), "%d Hz is the device's own rate: nothing to resample", rate);
  c.o->values["resample"] = rate;
  return HI_SUCCESS;
}

HI_S32 disableReSmp(int mod, AUDIO_DEV dev, int chn) {
  Found c = channel(mod, dev, chn);
  if (c.o) c.o->values.erase("resample");
  return c.rc;
}

HI_S32 getFd(int mod, AUDIO_DEV dev, int chn) {
  Found c = enabledChannel(mod, dev, chn);
  return c.o ? 400 + (mod == HI_ID_AO ? 100 : 0) + dev * AIO_MAX_CHN_NUM + chn : c.rc;
}

}  // namespace

namespace h {

// ---- input ----------------------------------------------------------------------

HI_S32 HI_MPI_AI_SetPubAttr(AUDIO_DEV dev, const AIO_ATTR_S* attr) { return setPubAttr(HI_ID_AI, dev, attr); }

HI_S32 HI_MPI_AI_GetPubAttr(AUDIO_DEV dev, AIO_ATTR_S* attr) {
  return loadConfigured(HI_ID_AI, device(HI_ID_AI, dev), "PubAttr", attr);
}

HI_S32 HI_MPI_AI_ClrPubAttr(AUDIO_DEV dev) { return clrPubAttr(HI_ID_AI, dev); }
HI_S32 HI_MPI_AI_Enable(AUDIO_DEV dev) { return enable(HI_ID_AI, dev); }
HI_S32 HI_MPI_AI_Disable(AUDIO_DEV dev) { return disable(HI_ID_AI, dev); }
HI_S32 HI_MPI_AI_EnableChn(AUDIO_DEV dev, AI_CHN chn) { return enableChn(HI_ID_AI, dev, chn); }
HI_S32 HI_MPI_AI_DisableChn(AUDIO_DEV dev, AI_CHN chn) { return disableChn(HI_ID_AI, dev, chn); }

HI_S32 HI_MPI_AI_SetTrackMode(AUDIO_DEV dev, AUDIO_TRACK_MODE_E mode) { return setTrackMode(HI_ID_AI, dev, mode); }

HI_S32 HI_MPI_AI_GetTrackMode(AUDIO_DEV dev, AUDIO_TRACK_MODE_E* mode) {
  return load(HI_ID_AI, device(HI_ID_AI, dev), "TrackMode", mode, AUDIO_TRACK_NORMAL);
}

HI_S32 HI_MPI_AI_SetChnParam(AUDIO_DEV dev, AI_CHN chn, AI_CHN_PARAM_S* param) {
  return store(HI_ID_AI, channel(HI_ID_AI, dev, chn), "ChnParam", param, [](const AI_CHN_PARAM_S& p) {
    return checks(HI_ID_AI).range("user frame depth", p.u32UsrFrmDepth, 0, 30);
  });
}

HI_S32 HI_MPI_AI_GetChnParam(AUDIO_DEV dev, AI_CHN chn, AI_CHN_PARAM_S* param) {
  return load(HI_ID_AI, channel(HI_ID_AI, dev, chn), "ChnParam", param, AI_CHN_PARAM_S{0});
}

HI_S32 HI_MPI_AI_EnableReSmp(AUDIO_DEV dev, AI_CHN chn, AUDIO_SAMPLE_RATE_E rate) {
  return enableReSmp(HI_ID_AI, dev, chn, rate);
}

HI_S32 HI_MPI_AI_DisableReSmp(AUDIO_DEV dev, AI_CHN chn) { return disableReSmp(HI_ID_AI, dev, chn); }

// On an enabled channel whose enhancement is off: the enhancement works at
// 8 or 16 kHz on frames of 80 to 4096 samples; an open high-pass filter
// needs one of its corner frequencies.
HI_S32 HI_MPI_AI_SetVqeAttr(AUDIO_DEV dev, AI_CHN chn, AUDIO_DEV aoDev, AO_CHN aoChn, AI_VQE_CONFIG_S* cfg) {
  Found c = enabledChannel(HI_ID_AI, dev, chn);
  if (c.o && c.o->values.count("vqe"))
    return refuse(fault(HI_ID_AI, NOT_PERM), "%s has its enhancement enabled: disable it before setting it",
                  label(chnKey(HI_ID_AI, dev, chn)).c_str());
  return store(HI_ID_AI, c, "VqeAttr", cfg, [](const AI_VQE_CONFIG_S& v) {
    const int freq = v.stHpfCfg.enHpfFreq;
    return checks(HI_ID_AI)
        .range("work state", v.enWorkstate, VQE_WORKSTATE_COMMON, VQE_WORKSTATE_NOISY)
        .rule(v.s32WorkSampleRate == 8000 || v.s32WorkSampleRate == 16000,
              "enhancement sample rate %d Hz: 8000 or 16000 only", v.s32WorkSampleRate)
        .range("samples per enhancement frame", v.s32FrameSample, 80, 4096)
        .rule(!v.bHpfOpen || freq == AUDIO_HPF_FREQ_80 || freq == AUDIO_HPF_FREQ_120 || freq == AUDIO_HPF_FREQ_150,
              "high-pass corner frequency %d Hz: 80, 120 or 150", freq);
  });
}

HI_S32 HI_MPI_AI_GetVqeAttr(AUDIO_DEV dev, AI_CHN chn, AI_VQE_CONFIG_S* cfg) {
  return loadConfigured(HI_ID_AI, channel(HI_ID_AI, dev, chn), "VqeAttr", cfg);
}

HI_S32 HI_MPI_AI_EnableVqe(AUDIO_DEV dev, AI_CHN chn) {
  Found c = enabledChannel(HI_ID_AI, dev, chn);
  if (!c.o) return c.rc;
  if (!c.o->has("VqeAttr"))
    return refuse(fault(HI_ID_AI, NOT_CONFIG), "%s has no enhancement attributes (SetVqeAttr)",
                  label(chnKey(HI_ID_AI, dev, chn)).c_str());
  c.o->values["vqe"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AI_DisableVqe(AUDIO_DEV dev, AI_CHN chn) {
  Found c = channel(HI_ID_AI, dev, chn);
  if (c.o) c.o->values.erase("vqe");
  return c.rc;
}

HI_S32 HI_MPI_AI_SetVqeVolume(AUDIO_DEV dev, AI_CHN chn, HI_S32 db) {
  return store(HI_ID_AI, enabledChannel(HI_ID_AI, dev, chn), "VqeVolume", &db,
               [](HI_S32 v) { return checks(HI_ID_AI).range("enhancement volume (dB)", v, -20, 10); });
}

HI_S32 HI_MPI_AI_GetVqeVolume(AUDIO_DEV dev, AI_CHN chn, HI_S32* db) {
  return load(HI_ID_AI, enabledChannel(HI_ID_AI, dev, chn), "VqeVolume", db, 0);
}

HI_S32 HI_MPI_AI_GetFd(AUDIO_DEV dev, AI_CHN chn) { return getFd(HI_ID_AI, dev, chn); }

// ---- output ---------------------------------------------------------------------

HI_S32 HI_MPI_AO_SetPubAttr(AUDIO_DEV dev, const AIO_ATTR_S* attr) { return setPubAttr(HI_ID_AO, dev, attr); }

HI_S32 HI_MPI_AO_GetPubAttr(AUDIO_DEV dev, AIO_ATTR_S* attr) {
  return loadConfigured(HI_ID_AO, device(HI_ID_AO, dev), "PubAttr", attr);
}

HI_S32 HI_MPI_AO_ClrPubAttr(AUDIO_DEV dev) { return clrPubAttr(HI_ID_AO, dev); }
HI_S32 HI_MPI_AO_Enable(AUDIO_DEV dev) { return enable(HI_ID_AO, dev); }
// What the device played stops, and its recordings are finished.
HI_S32 HI_MPI_AO_Disable(AUDIO_DEV dev) {
  HI_S32 rc = disable(HI_ID_AO, dev);
  if (rc == HI_SUCCESS) media::output_stopped(Key{HI_ID_AO, dev, -1});
  return rc;
}
HI_S32 HI_MPI_AO_EnableChn(AUDIO_DEV dev, AO_CHN chn) { return enableChn(HI_ID_AO, dev, chn); }
HI_S32 HI_MPI_AO_DisableChn(AUDIO_DEV dev, AO_CHN chn) {
  HI_S32 rc = disableChn(HI_ID_AO, dev, chn);
  if (rc == HI_SUCCESS) media::output_stopped(Key{HI_ID_AO, dev, chn});
  return rc;
}

HI_S32 HI_MPI_AO_SetTrackMode(AUDIO_DEV dev, AUDIO_TRACK_MODE_E mode) { return setTrackMode(HI_ID_AO, dev, mode); }

HI_S32 HI_MPI_AO_GetTrackMode(AUDIO_DEV dev, AUDIO_TRACK_MODE_E* mode) {
  return load(HI_ID_AO, device(HI_ID_AO, dev), "TrackMode", mode, AUDIO_TRACK_NORMAL);
}

HI_S32 HI_MPI_AO_PauseChn(AUDIO_DEV dev, AO_CHN chn) {
  Found c = enabledChannel(HI_ID_AO, dev, chn);
  if (c.o) c.o->values["paused"] = 1;
  return c.rc;
}

HI_S32 HI_MPI_AO_ResumeChn(AUDIO_DEV dev, AO_CHN chn) {
  Found c = enabledChannel(HI_ID_AO, dev, chn);
  if (c.o) c.o->values.erase("paused");
  return c.rc;
}

HI_S32 HI_MPI_AO_EnableReSmp(AUDIO_DEV dev, AO_CHN chn, AUDIO_SAMPLE_RATE_E rate) {
  return enableReSmp(HI_ID_AO, dev, chn, rate);
}

HI_S32 HI_MPI_AO_DisableReSmp(AUDIO_DEV dev, AO_CHN chn) { return disableReSmp(HI_ID_AO, dev, chn); }

HI_S32 HI_MPI_AO_ClearChnBuf(AUDIO_DEV dev, AO_CHN chn) {
  Found c = enabledChannel(HI_ID_AO, dev, chn);
  if (c.o) media::output_cleared(Key{HI_ID_AO, dev, chn});
  return c.rc;
}

HI_S32 HI_MPI_AO_GetFd(AUDIO_DEV dev, AO_CHN chn) { return getFd(HI_ID_AO, dev, chn); }

// Volume in dB, -121 (silence) to +6.
HI_S32 HI_MPI_AO_SetVolume(AUDIO_DEV dev, HI_S32 db) {
  return store(HI_ID_AO, device(HI_ID_AO, dev), "Volume", &db,
               [](HI_S32 v) { return checks(HI_ID_AO).range("volume (dB)", v, -121, 6); });
}

HI_S32 HI_MPI_AO_GetVolume(AUDIO_DEV dev, HI_S32* db) { return load(HI_ID_AO, device(HI_ID_AO, dev), "Volume", db, 0); }

HI_S32 HI_MPI_AO_SetMute(AUDIO_DEV dev, HI_BOOL enable, AUDIO_FADE_S* fade) {
  Found d = device(HI_ID_AO, dev);
  if (!d.o) return d.rc;
  Judge j = checks(HI_ID_AO);
  if (j.flag("mute", enable)) return j;
  if (fade && fade->bFade &&
      j.below("fade-in rate", fade->enFadeInRate, AUDIO_FADE_RATE_BUTT)
          .below("fade-out rate", fade->enFadeOutRate, AUDIO_FADE_RATE_BUTT))
    return j;
  d.o->values["muted"] = enable;
  if (fade) d.o->put("Fade", *fade);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AO_GetMute(AUDIO_DEV dev, HI_BOOL* enable, AUDIO_FADE_S* fade) {
  Found d = device(HI_ID_AO, dev);
  if (!d.o) return d.rc;
  if (!enable || !fade) return refuse(fault(HI_ID_AO, NULL_PTR), "nowhere to write the mute state (null pointer)");
  *enable = d.o->values.count("muted") && d.o->values.at("muted") ? HI_TRUE : HI_FALSE;
  if (!d.o->get("Fade", fade)) *fade = AUDIO_FADE_S{HI_FALSE, AUDIO_FADE_RATE_1, AUDIO_FADE_RATE_1};
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
