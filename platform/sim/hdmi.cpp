// The HDMI transmitter as the platform's HDMI library has it, with a full-HD
// monitor attached.
//
// The one interface (HDMI, 0, -1) is opened, takes attributes, and is then
// started; it is stopped before it is closed. Attributes are judged as the
// transmitter does (formats, output modes and deep colour it has, audio
// rates and depths of the HDMI audio formats) and stored so that a Get
// answers what a Set stored; until then the defaults of an opened interface
// are answered. The monitor supports the broadcast formats up to 1080p60
// and reports its EDID (256 bytes, manufacturer "TSL").
#include <cstring>

#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_HDMI;
const Key kInterface{kMod, 0, -1};

HI_S32 fault(int reason) { return err(kMod, reason); }

// The interface, once its number is valid.
Found interface(HI_HDMI_ID_E id) {
  if (id != HI_HDMI_ID_0) return missing(fault(ILLEGAL_PARAM));
  return {&obtain(kInterface), HI_SUCCESS};
}

// An interface that is open.
Found opened(HI_HDMI_ID_E id) {
  Found f = interface(id);
  if (f.o && !f.o->created) return missing(fault(NOT_PERM));
  return f;
}

bool flag(HI_BOOL b) { return b == HI_TRUE || b == HI_FALSE; }

bool deepColor(HI_HDMI_DEEP_COLOR_E d) {
  return d == HI_HDMI_DEEP_COLOR_24BIT || d == HI_HDMI_DEEP_COLOR_30BIT || d == HI_HDMI_DEEP_COLOR_36BIT ||
         d == HI_HDMI_DEEP_COLOR_OFF;
}

bool sampleRate(HI_HDMI_SAMPLE_RATE_E r) {
  static const HI_U32 rates[] = {32000, 44100, 48000, 88200, 96000, 176400, 192000};
  for (HI_U32 known : rates)
    if (static_cast<HI_U32>(r) == known) return true;
  return false;
}

HI_S32 judgeAttr(const HI_HDMI_ATTR_S& a) {
  bool ok = a.enVideoFmt < HI_HDMI_VIDEO_FMT_BUTT && a.enVidOutMode < HI_HDMI_VIDEO_MODE_BUTT &&
            deepColor(a.enDeepColorMode) && a.enSoundIntf < HI_HDMI_SND_INTERFACE_BUTT && sampleRate(a.enSampleRate) &&
            (a.enBitDepth == HI_HDMI_BIT_DEPTH_16 || a.enBitDepth == HI_HDMI_BIT_DEPTH_24) && flag(a.bEnableHdmi) &&
            flag(a.bEnableVideo) && flag(a.bEnableAudio) && flag(a.bxvYCCMode) && flag(a.bIsMultiChannel);
  return ok ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

HI_HDMI_ATTR_S defaultAttr() {
  HI_HDMI_ATTR_S a{};
  a.bEnableHdmi = a.bEnableVideo = a.bEnableAudio = HI_TRUE;
  a.enVideoFmt = HI_HDMI_VIDEO_FMT_1080P_60;
  a.enVidOutMode = HI_HDMI_VIDEO_MODE_RGB444;
  a.enDeepColorMode = HI_HDMI_DEEP_COLOR_OFF;
  a.enSoundIntf = HI_HDMI_SND_INTERFACE_I2S;
  a.enSampleRate = HI_HDMI_SAMPLE_RATE_48K;
  a.enBitDepth = HI_HDMI_BIT_DEPTH_16;
  a.bEnableAviInfoFrame = a.bEnableAudInfoFrame = HI_TRUE;
  return a;
}

HI_HDMI_SINK_CAPABILITY_S monitor() {
  HI_HDMI_SINK_CAPABILITY_S cap;
  std::memset(&cap, 0, sizeof cap);
  cap.bConnected = cap.bSupportHdmi = cap.bIsSinkPowerOn = cap.bIsRealEDID = HI_TRUE;
  cap.enNativeVideoFormat = HI_HDMI_VIDEO_FMT_1080P_60;
  for (int f = HI_HDMI_VIDEO_FMT_1080P_60; f <= static_cast<int>(HI_HDMI_VIDEO_FMT_480P_60); ++f)
    cap.bVideoFmtSupported[f] = HI_TRUE;
  cap.bSupportYCbCr = HI_TRUE;
  cap.u32AudioInfoNum = 1;
  std::memcpy(cap.u8IDManufactureName, "TSL", 3);
  cap.u32IDProductCode = 0x1080;
  cap.u32IDSerialNumber = 1;
  cap.u32WeekOfManufacture = 48;
  cap.u32YearOfManufacture = 2026;
  cap.u8Version = 1;
  cap.u8Revision = 3;
  cap.u8EDIDExternBlockNum = 1;
  cap.bIsPhyAddrValid = HI_TRUE;
  cap.u8PhyAddr_A = 1;
  cap.bSupportDeepColor30Bit = HI_TRUE;
  cap.u32MaxTMDSClock = 165;
  return cap;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_HDMI_Init(HI_VOID) { return HI_SUCCESS; }

// Tearing the library down closes the interface.
HI_S32 HI_MPI_HDMI_DeInit(HI_VOID) {
  if (const Object* o = find(kInterface))
    if (o->started) return fault(NOT_PERM);
  destroy(kInterface);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Open(HI_HDMI_ID_E id) {
  Found f = interface(id);
  if (!f.o) return f.rc;
  f.o->created = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Close(HI_HDMI_ID_E id) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (f.o->started) return fault(NOT_PERM);  // stop first
  destroy(kInterface);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Start(HI_HDMI_ID_E id) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  f.o->started = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Stop(HI_HDMI_ID_E id) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  f.o->started = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_SetAttr(HI_HDMI_ID_E id, HI_HDMI_ATTR_S* attr) {
  return store(kMod, opened(id), "Attr", attr, judgeAttr);
}

HI_S32 HI_MPI_HDMI_GetAttr(HI_HDMI_ID_E id, HI_HDMI_ATTR_S* attr) {
  return load(kMod, opened(id), "Attr", attr, defaultAttr());
}

HI_S32 HI_MPI_HDMI_GetSinkCapability(HI_HDMI_ID_E id, HI_HDMI_SINK_CAPABILITY_S* cap) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!cap) return fault(NULL_PTR);
  *cap = monitor();
  return HI_SUCCESS;
}

// Two blocks: the base block with the monitor's identity, an empty extension.
HI_S32 HI_MPI_HDMI_Force_GetEDID(HI_HDMI_ID_E id, HI_HDMI_EDID_S* edid) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!edid) return fault(NULL_PTR);
  std::memset(edid, 0, sizeof *edid);
  static const HI_U8 header[] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x52, 0x6C, 0x80, 0x10};
  std::memcpy(edid->u8Edid, header, sizeof header);
  edid->u8Edid[126] = 1;  // one extension block
  for (int block = 0; block < 2; ++block) {
    HI_U8 sum = 0;
    for (int i = 0; i < 127; ++i) sum = static_cast<HI_U8>(sum + edid->u8Edid[block * 128 + i]);
    edid->u8Edid[block * 128 + 127] = static_cast<HI_U8>(0x100 - sum);
  }
  edid->bEdidValid = HI_TRUE;
  edid->u32Edidlength = 256;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_SetAVMute(HI_HDMI_ID_E id, HI_BOOL mute) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!flag(mute)) return fault(ILLEGAL_PARAM);
  f.o->values["muted"] = mute;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_SetDeepColor(HI_HDMI_ID_E id, HI_HDMI_DEEP_COLOR_E mode) {
  return store(kMod, opened(id), "DeepColor", &mode,
               [](HI_HDMI_DEEP_COLOR_E d) { return deepColor(d) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_HDMI_GetDeepColor(HI_HDMI_ID_E id, HI_HDMI_DEEP_COLOR_E* mode) {
  return load(kMod, opened(id), "DeepColor", mode, HI_HDMI_DEEP_COLOR_OFF);
}

}  // namespace h
}  // namespace sim
