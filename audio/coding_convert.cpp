// Table forms of the audio encoder and decoder attributes: the fixed fields
// and, under "pValue", the codec's member the payload selects.
#include <cstddef>

#include "audio/coding.h"
#include "frame/common_types.h"

namespace Tessel {
namespace {

const EnumRow kG726Rows[] = {
    {G726_16K, "G726_16K", kBoth},           {G726_24K, "G726_24K", kBoth},
    {G726_32K, "G726_32K", kBoth},           {G726_40K, "G726_40K", kBoth},
    {MEDIA_G726_16K, "MEDIA_G726_16K", kBoth}, {MEDIA_G726_24K, "MEDIA_G726_24K", kBoth},
    {MEDIA_G726_32K, "MEDIA_G726_32K", kBoth}, {MEDIA_G726_40K, "MEDIA_G726_40K", kBoth},
};
const EnumDesc kG726 = {kG726Rows, 8, Miss::Throw, 0, "Invalid G726 bit rate",
                        Miss::Leave, 0, nullptr, "UNKNOWN"};

const EnumRow kAdpcmRows[] = {
    {ADPCM_TYPE_DVI4, "DVI4", kBoth}, {ADPCM_TYPE_IMA, "IMA", kBoth}, {ADPCM_TYPE_ORG_DVI4, "ORG_DVI4", kBoth}};
const EnumDesc kAdpcm = {kAdpcmRows, 3, Miss::Throw, 0, "Invalid ADPCM type", Miss::Leave, 0, nullptr, "UNKNOWN"};

const EnumRow kAdecModeRows[] = {{ADEC_MODE_PACK, "PACK", kBoth}, {ADEC_MODE_STREAM, "STREAM", kBoth}};
const EnumDesc kAdecModes = {kAdecModeRows, 2, Miss::Throw, 0, "Invalid ADEC mode", Miss::Leave, 0, nullptr,
                             "UNKNOWN"};

// The member of each built-in payload; the others have none.
template <class G711, class G726, class Adpcm, class Lpcm>
const Converter* memberOf(PAYLOAD_TYPE_E type) {
  switch (type) {
    case PT_G711A:
    case PT_G711U: return &ConvOf<G711>::value;
    case PT_G726: return &ConvOf<G726>::value;
    case PT_ADPCMA: return &ConvOf<Adpcm>::value;
    case PT_LPCM: return &ConvOf<Lpcm>::value;
    default: return nullptr;
  }
}

namespace aenc {
using S_ = AENC_CHN_ATTR_S;
const Field fields[] = {F(enType), F(u32PtNumPerFrm), F(u32BufSize)};
const Converter* member(const void* whole) {
  return memberOf<AENC_ATTR_G711_S, AENC_ATTR_G726_S, AENC_ATTR_ADPCM_S, AENC_ATTR_LPCM_S>(
      static_cast<const AencChnAttr*>(whole)->head.enType);
}
const UnionStruct desc = {{"AENC_CHN_ATTR_S", "AENC_CHN_ATTR_S must be a table for structure convension",
                           sizeof(AencChnAttr), fields, 3},
                          "pValue", &member, offsetof(AencChnAttr, codec)};
}  // namespace aenc

namespace adec {
using S_ = ADEC_CHN_ATTR_S;
const Field fields[] = {F(enType), F(u32BufSize), F(enMode)};
const Converter* member(const void* whole) {
  return memberOf<ADEC_ATTR_G711_S, ADEC_ATTR_G726_S, ADEC_ATTR_ADPCM_S, ADEC_ATTR_LPCM_S>(
      static_cast<const AdecChnAttr*>(whole)->head.enType);
}
const UnionStruct desc = {{"ADEC_CHN_ATTR_S", "ADEC_CHN_ATTR_S must be a table for structure convension",
                           sizeof(AdecChnAttr), fields, 3},
                          "pValue", &member, offsetof(AdecChnAttr, codec)};
}  // namespace adec

// pValue always points at the member, also for a payload that reads none.
void readAenc(lua_State* L, int idx, AencChnAttr* out) {
  readUnionStruct(L, idx, out, aenc::desc);
  out->head.pValue = &out->codec;
}
void pushAenc(lua_State* L, const AencChnAttr& in) { pushUnionStruct(L, &in, aenc::desc); }

void readAdec(lua_State* L, int idx, AdecChnAttr* out) {
  readUnionStruct(L, idx, out, adec::desc);
  out->head.pValue = &out->codec;
}
void pushAdec(lua_State* L, const AdecChnAttr& in) { pushUnionStruct(L, &in, adec::desc); }

}  // namespace
}  // namespace Tessel

TESSEL_ENUM(G726_BPS_E, kG726)
TESSEL_ENUM(ADPCM_TYPE_E, kAdpcm)
TESSEL_ENUM(ADEC_MODE_E, kAdecModes)
TESSEL_STRUCT(AENC_ATTR_G711_S, F(resv))
TESSEL_STRUCT(AENC_ATTR_G726_S, F(enG726bps))
TESSEL_STRUCT(AENC_ATTR_ADPCM_S, F(enADPCMType))
TESSEL_STRUCT(AENC_ATTR_LPCM_S, F(resv))
TESSEL_STRUCT(ADEC_ATTR_G711_S, F(resv))
TESSEL_STRUCT(ADEC_ATTR_G726_S, F(enG726bps))
TESSEL_STRUCT(ADEC_ATTR_ADPCM_S, F(enADPCMType))
TESSEL_STRUCT(ADEC_ATTR_LPCM_S, F(resv))
TESSEL_CUSTOM(AencChnAttr, readAenc, pushAenc)
TESSEL_CUSTOM(AdecChnAttr, readAdec, pushAdec)
