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

Found device(int mod, AUDIO_DEV dev) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return missing(fault(mod, INVALID_DEVID));
  return {&obtain(devKey(mod, dev)), HI_SUCCESS};
}

// A channel that has been enabled at least once.
Found channel(int mod, AUDIO_DEV dev, int chn) {
  if (dev < 0 || dev >= AIO_MAX_NUM) return missing(fault(mod, INVALID_DEVID));
  if (chn < 0 || chn >= AIO_MAX_CHN_NUM) return missing(fault(mod, INVALID_CHNID));
  Object* o = find(chnKey(mod, dev, chn));
  return {o, o ? HI_SUCCESS : fault(mod, NOT_PERM)};
}

// A channel that is enabled now.
Found enabledChannel(int mod, AUDIO_DEV dev, int chn) {
  Found c = channel(mod, dev, chn);
  if (c.o && !c.o->enabled) return missing(fault(mod, NOT_PERM));
  return c;
}

bool sampleRate(AUDIO_SAMPLE_RATE_E r) {
  static const int rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
  for (int known : rates)
    if (static_cast<int>(r) == known) return true;
  return false;
}

HI_S32 judgeAttr(int mod, const AIO_ATTR_S& a) {
  bool ok = sampleRate(a.enSamplerate) && (a.enBitwidth == AUDIO_BIT_WIDTH_8 || a.enBitwidth == AUDIO_BIT_WIDTH_16) &&
            a.enWorkmode < AIO_MODE_BUTT && a.enSoundmode < AUDIO_SOUND_MODE_BUTT &&
            within(a.u32PtNumPerFrm, 80, 2048) && within(a.u32FrmNum, 2, 50) && within(a.u32ChnCnt, 1, 16) &&
            (a.enSoundmode != AUDIO_SOUND_MODE_STEREO || a.u32ChnCnt % 2 == 0);
  return ok ? HI_SUCCESS : fault(mod, ILLEGAL_PARAM);
}

int channelCount(const Object& d) {
  AIO_ATTR_S a{};
  if (!d.get("PubAttr", &a)) return 0;
  return a.enSoundmode == AUDIO_SOUND_MODE_STEREO ? static_cast<int>(a.u32ChnCnt / 2) : static_cast<int>(a.u32ChnCnt);
}

const char* name(int mod) { return mod == HI_ID_AI ? "AI" : "AO"; }

// ---- the shapes both directions share --------------------------------------------------

HI_S32 setPubAttr(int mod, AUDIO_DEV dev, const AIO_ATTR_S* attr) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (!attr) return fault(mod, NULL_PTR);
  if (d.o->enabled) return fault(mod, NOT_PERM);  // disable first
  if (HI_S32 bad = judgeAttr(mod, *attr)) return bad;
  d.o->put("PubAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 clrPubAttr(int mod, AUDIO_DEV dev) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (d.o->enabled) return fault(mod, NOT_PERM);
  d.o->attrs.erase("PubAttr");
  return HI_SUCCESS;
}

HI_S32 enable(int mod, AUDIO_DEV dev) {
  Found d = device(mod, dev);
  if (!d.o) return d.rc;
  if (!sys_ready()) return fault(mod, SYS_NOTREADY);
  if (!d.o->has("PubAttr")) return fault(mod, NOT_CONFIG);
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
  if (chn < 0 || chn >= AIO_MAX_CHN_NUM) return fault(mod, INVALID_CHNID);
  if (!d.o->enabled) return fault(mod, NOT_PERM);
  if (chn >= channelCount(*d.o)) return fault(mod, INVALID_CHNID);
  obtain(chnKey(mod, dev, chn)).enabled = true;
  return HI_SUCCESS;
}

HI_S32 disableChn(int mod, AUDIO_DEV dev, int chn) {
  Found c = channel(mod, dev, chn);
  if (c.o) c.o->enabled = false;
  return c.o || c.rc == fault(mod, NOT_PERM) ? HI_SUCCESS : c.rc;
}

HI_S32 setTrackMode(int mod, AUDIO_DEV dev, AUDIO_TRACK_MODE_E mode) {
  Found d = device(mod, dev);
  if (d.o && !d.o->enabled) return fault(mod, NOT_PERM);
  return store(mod, d, "TrackMode", &mode,
               [mod](AUDIO_TRACK_MODE_E m) { return m < AUDIO_TRACK_BUTT ? HI_SUCCESS : fault(mod, ILLEGAL_PARAM); });
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
  if (!sampleRate(rate) || static_cast<int>(rate) == deviceRate(mod, dev)) return fault(mod, ILLEGAL_PARAM);
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
    return p.u32UsrFrmDepth <= 30 ? HI_SUCCESS : fault(HI_ID_AI, ILLEGAL_PARAM);
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
  if (c.o && c.o->values.count("vqe")) return fault(HI_ID_AI, NOT_PERM);  // disable it first
  return store(HI_ID_AI, c, "VqeAttr", cfg, [](const AI_VQE_CONFIG_S& v) {
    const int freq = v.stHpfCfg.enHpfFreq;
    bool ok = within(v.enWorkstate, VQE_WORKSTATE_COMMON, VQE_WORKSTATE_NOISY) &&
              (v.s32WorkSampleRate == 8000 || v.s32WorkSampleRate == 16000) && within(v.s32FrameSample, 80, 4096) &&
              (!v.bHpfOpen || freq == AUDIO_HPF_FREQ_80 || freq == AUDIO_HPF_FREQ_120 || freq == AUDIO_HPF_FREQ_150);
    return ok ? HI_SUCCESS : fault(HI_ID_AI, ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_AI_GetVqeAttr(AUDIO_DEV dev, AI_CHN chn, AI_VQE_CONFIG_S* cfg) {
  return loadConfigured(HI_ID_AI, channel(HI_ID_AI, dev, chn), "VqeAttr", cfg);
}

HI_S32 HI_MPI_AI_EnableVqe(AUDIO_DEV dev, AI_CHN chn) {
  Found c = enabledChannel(HI_ID_AI, dev, chn);
  if (!c.o) return c.rc;
  if (!c.o->has("VqeAttr")) return fault(HI_ID_AI, NOT_CONFIG);
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
               [](HI_S32 v) { return within(v, -20, 10) ? HI_SUCCESS : fault(HI_ID_AI, ILLEGAL_PARAM); });
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
               [](HI_S32 v) { return within(v, -121, 6) ? HI_SUCCESS : fault(HI_ID_AO, ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_AO_GetVolume(AUDIO_DEV dev, HI_S32* db) { return load(HI_ID_AO, device(HI_ID_AO, dev), "Volume", db, 0); }

HI_S32 HI_MPI_AO_SetMute(AUDIO_DEV dev, HI_BOOL enable, AUDIO_FADE_S* fade) {
  Found d = device(HI_ID_AO, dev);
  if (!d.o) return d.rc;
  if (enable != HI_TRUE && enable != HI_FALSE) return fault(HI_ID_AO, ILLEGAL_PARAM);
  if (fade && fade->bFade && (fade->enFadeInRate >= AUDIO_FADE_RATE_BUTT || fade->enFadeOutRate >= AUDIO_FADE_RATE_BUTT))
    return fault(HI_ID_AO, ILLEGAL_PARAM);
  d.o->values["muted"] = enable;
  if (fade) d.o->put("Fade", *fade);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_AO_GetMute(AUDIO_DEV dev, HI_BOOL* enable, AUDIO_FADE_S* fade) {
  Found d = device(HI_ID_AO, dev);
  if (!d.o) return d.rc;
  if (!enable || !fade) return fault(HI_ID_AO, NULL_PTR);
  *enable = d.o->values.count("muted") && d.o->values.at("muted") ? HI_TRUE : HI_FALSE;
  if (!d.o->get("Fade", fade)) *fade = AUDIO_FADE_S{HI_FALSE, AUDIO_FADE_RATE_1, AUDIO_FADE_RATE_1};
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
