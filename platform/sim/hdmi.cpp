// The HDMI transmitter as the platform's HDMI library has it, with a full-HD
// monitor attached.
//
// The library needs no initialisation call before the interface is opened
// (HI_MPI_HDMI_Init is accepted and changes nothing). The one interface
// (HDMI 0/0 in the picture) is opened, takes attributes while it is stopped
// or running, and is started; everything but opening it answers "device not
// open" until then. Closing a running transmitter stops it first, as does
// tearing the library down. Failures carry the HDMI library's own codes
// (HI_ERR_HDMI_*), which do not follow the media platform's numbering.
//
// Attributes are judged as the transmitter does (its formats, output modes
// and deep colour settings; the audio rate and depth of HDMI's L-PCM when
// audio is on) and stored, so that a Get answers what a Set stored and the
// defaults of an opened interface before. Deep colour is one setting, read
// and written by the attributes and by the deep colour calls alike. The
// monitor shows the broadcast formats up to 1080p60, takes 30-bit deep
// colour but not 36-bit, and reports an EDID of two 128-byte blocks with
// valid checksums (manufacturer "TSL").
#include <cstring>

#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_HDMI;
const Key kInterface{kMod, 0, 0};

// The interface, opened, when the number is the chip's one interface.
HI_S32 badInterface(HI_HDMI_ID_E id) {
  return refuse(HI_ERR_HDMI_INVALID_PARA, "HDMI interface %d: the chip has interface 0 only", id);
}

Found opened(HI_HDMI_ID_E id) {
  if (id != HI_HDMI_ID_0) return missing(badInterface(id));
  Object* o = find(kInterface);
  return {o, o ? HI_SUCCESS : refuse(HI_ERR_HDMI_DEV_NOT_OPEN, "HDMI interface 0 is not open (HDMI.Open)")};
}

HI_S32 noPointer(const char* what) { return refuse(HI_ERR_HDMI_NUL_PTR, "nowhere to write %s (null pointer)", what); }

bool flag(HI_BOOL b) { return b == HI_TRUE || b == HI_FALSE; }

bool deepColor(HI_HDMI_DEEP_COLOR_E d) {
  return d == HI_HDMI_DEEP_COLOR_24BIT || d == HI_HDMI_DEEP_COLOR_30BIT || d == HI_HDMI_DEEP_COLOR_36BIT ||
         d == HI_HDMI_DEEP_COLOR_OFF;
}

// A valid setting the monitor cannot show.
HI_S32 judgeDeepColor(HI_HDMI_DEEP_COLOR_E d) {
  if (!deepColor(d)) return refuse(HI_ERR_HDMI_INVALID_PARA, "deep colour mode %d is none the transmitter has", d);
  if (d == HI_HDMI_DEEP_COLOR_36BIT)
    return refuse(HI_ERR_HDMI_FEATURE_NO_SUPPORT, "the monitor takes 30-bit deep colour at most, not 36-bit");
  return HI_SUCCESS;
}

bool sampleRate(HI_HDMI_SAMPLE_RATE_E r) {
  static const HI_HDMI_SAMPLE_RATE_E rates[] = {
      HI_HDMI_SAMPLE_RATE_32K, HI_HDMI_SAMPLE_RATE_44K, HI_HDMI_SAMPLE_RATE_48K,  HI_HDMI_SAMPLE_RATE_88K,
      HI_HDMI_SAMPLE_RATE_96K, HI_HDMI_SAMPLE_RATE_176K, HI_HDMI_SAMPLE_RATE_192K};
  for (HI_HDMI_SAMPLE_RATE_E known : rates)
    if (r == known) return true;
  return false;
}

bool bitDepth(HI_HDMI_BIT_DEPTH_E d) {
  return d == HI_HDMI_BIT_DEPTH_16 || d == HI_HDMI_BIT_DEPTH_20 || d == HI_HDMI_BIT_DEPTH_24;
}

HI_S32 judgeAttr(const HI_HDMI_ATTR_S& a) {
  Judge j(HI_ERR_HDMI_INVALID_PARA);
  j.below("video format", a.enVideoFmt, HI_HDMI_VIDEO_FMT_BUTT)
      .below("video output mode", a.enVidOutMode, HI_HDMI_VIDEO_MODE_BUTT);
  if (a.bEnableAudio)
    j.below("sound interface", a.enSoundIntf, HI_HDMI_SND_INTERFACE_BUTT)
        .rule(sampleRate(a.enSampleRate), "audio sample rate %d Hz is none of HDMI's L-PCM rates", a.enSampleRate)
        .rule(bitDepth(a.enBitDepth), "audio depth %d bits: 16, 20 or 24", a.enBitDepth);
  j.flag("bEnableHdmi", a.bEnableHdmi)
      .flag("bEnableVideo", a.bEnableVideo)
      .flag("bEnableAudio", a.bEnableAudio)
      .flag("bxvYCCMode", a.bxvYCCMode)
      .flag("bIsMultiChannel", a.bIsMultiChannel);
  if (HI_S32 bad = j) return bad;
  return judgeDeepColor(a.enDeepColorMode);
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

HI_HDMI_ATTR_S attrOf(const Object& o) {
  HI_HDMI_ATTR_S a;
  if (!o.get("Attr", &a)) a = defaultAttr();
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

// Tearing the library down stops and closes the interface.
HI_S32 HI_MPI_HDMI_DeInit(HI_VOID) {
  destroy(kInterface);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Open(HI_HDMI_ID_E id) {
  if (id != HI_HDMI_ID_0) return badInterface(id);
  obtain(kInterface).created = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_Close(HI_HDMI_ID_E id) {
  Found f = opened(id);
  if (!f.o) return f.rc;
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
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!attr) return refuse(HI_ERR_HDMI_NUL_PTR, "no attributes given (null pointer)");
  if (HI_S32 bad = judgeAttr(*attr)) return bad;
  f.o->put("Attr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_GetAttr(HI_HDMI_ID_E id, HI_HDMI_ATTR_S* attr) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!attr) return noPointer("the attributes");
  *attr = attrOf(*f.o);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_GetSinkCapability(HI_HDMI_ID_E id, HI_HDMI_SINK_CAPABILITY_S* cap) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!cap) return noPointer("the capabilities");
  *cap = monitor();
  return HI_SUCCESS;
}

// The base block with the monitor's identity (EISA "TSL", product 0x1080)
// and one extension: a CEA-861 block without data blocks.
HI_S32 HI_MPI_HDMI_Force_GetEDID(HI_HDMI_ID_E id, HI_HDMI_EDID_S* edid) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!edid) return noPointer("the EDID");
  std::memset(edid, 0, sizeof *edid);
  static const HI_U8 header[] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x52, 0x6C, 0x80, 0x10};
  std::memcpy(edid->u8Edid, header, sizeof header);
  edid->u8Edid[126] = 1;  // one extension block
  static const HI_U8 cea[] = {0x02, 0x03, 0x04, 0x00};
  std::memcpy(edid->u8Edid + 128, cea, sizeof cea);
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
  if (!flag(mute)) return refuse(HI_ERR_HDMI_INVALID_PARA, "mute %d is neither HI_TRUE nor HI_FALSE", mute);
  f.o->values["muted"] = mute;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_SetDeepColor(HI_HDMI_ID_E id, HI_HDMI_DEEP_COLOR_E mode) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (HI_S32 bad = judgeDeepColor(mode)) return bad;
  HI_HDMI_ATTR_S a = attrOf(*f.o);
  a.enDeepColorMode = mode;
  f.o->put("Attr", a);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_HDMI_GetDeepColor(HI_HDMI_ID_E id, HI_HDMI_DEEP_COLOR_E* mode) {
  Found f = opened(id);
  if (!f.o) return f.rc;
  if (!mode) return noPointer("the deep colour mode");
  *mode = attrOf(*f.o).enDeepColorMode;
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
