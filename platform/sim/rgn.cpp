// Regions as the platform has them.
//
// A region (RGN, handle, -1) is created with the system up, with a type and,
// for overlays, a pixel format the overlay hardware draws (ARGB 1555, 4444 or
// 8888) and an even size within the type's limits. It is attached to channels
// that exist in simulated modules and that take its type (overlays on
// encoders; extended overlays on capture, processing and display; covers on
// capture; extended covers on capture, processing and display; lines and
// mosaics on processing and display), once per channel, with channel
// attributes of its own type; what is stored per channel is what
// GetDisplayAttr answers. A channel draws at most 8 regions of each type (4
// mosaics); one more is refused with "no buffer". An overlay on an encoder
// lies on one of the layers 0 to 7, and an overlay attached anywhere keeps
// its size. Destroying a region still attached detaches it and is reported
// as a finding. The picture draws each region with dotted edges to its
// channels.
#include <string>

#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_RGN;

HI_S32 fault(int reason) { return err(kMod, reason); }

Key regionKey(RGN_HANDLE h) { return Key{kMod, static_cast<int>(h), -1}; }

Found region(RGN_HANDLE h) {
  if (h >= RGN_HANDLE_MAX) return missing(fault(INVALID_DEVID));
  Object* o = find(regionKey(h));
  return {o, o ? HI_SUCCESS : fault(UNEXIST)};
}

// The modules a region type is drawn in.
bool takes(RGN_TYPE_E type, int mod) {
  bool capture = mod == HI_ID_VIU, processing = mod == HI_ID_VPSS, display = mod == HI_ID_VOU;
  switch (type) {
    case OVERLAY_RGN: return mod == HI_ID_VENC;
    case OVERLAYEX_RGN:
    case COVEREX_RGN: return capture || processing || display;
    case COVER_RGN: return capture;
    case LINE_RGN:
    case MOSAIC_RGN: return processing || display;
    default: return false;
  }
}

// Overlays and extended overlays have the same fields.
template <class Overlay>
HI_S32 judgeOverlay(const Overlay& o, HI_U32 maxW, HI_U32 maxH) {
  bool format = o.enPixelFmt == PIXEL_FORMAT_RGB_1555 || o.enPixelFmt == PIXEL_FORMAT_RGB_4444 ||
                o.enPixelFmt == PIXEL_FORMAT_RGB_8888;
  bool size = within(o.stSize.u32Width, RGN_MIN_WIDTH, maxW) && within(o.stSize.u32Height, RGN_MIN_HEIGHT, maxH) &&
              o.stSize.u32Width % RGN_ALIGN == 0 && o.stSize.u32Height % RGN_ALIGN == 0;
  if (!format) return fault(NOT_SUPPORT);
  return size ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

HI_S32 judgeAttr(const RGN_ATTR_S& a) {
  switch (a.enType) {
    case OVERLAY_RGN: return judgeOverlay(a.unAttr.stOverlay, RGN_OVERLAY_MAX_WIDTH, RGN_OVERLAY_MAX_HEIGHT);
    case OVERLAYEX_RGN:
      return judgeOverlay(a.unAttr.stOverlayEx, RGN_OVERLAYEX_MAX_WIDTH, RGN_OVERLAYEX_MAX_HEIGHT);
    case COVER_RGN:
    case COVEREX_RGN:
    case LINE_RGN:
    case MOSAIC_RGN: return HI_SUCCESS;
    default: return fault(ILLEGAL_PARAM);
  }
}

std::string attachment(const MPP_CHN_S& c) {
  return "on " + std::to_string(c.enModId) + "/" + std::to_string(c.s32DevId) + "/" + std::to_string(c.s32ChnId);
}

RGN_TYPE_E typeOf(const Object& r) {
  RGN_ATTR_S attr{};
  r.get("Attr", &attr);
  return attr.enType;
}

// The channel attributes must be of the region's own type.
HI_S32 judgeChnAttr(const Object& r, const RGN_CHN_ATTR_S& a) {
  if (a.enType != typeOf(r) || (a.bShow != HI_TRUE && a.bShow != HI_FALSE)) return fault(ILLEGAL_PARAM);
  if (a.enType == OVERLAY_RGN && a.unChnAttr.stOverlayChn.u32Layer > 7) return fault(ILLEGAL_PARAM);
  return HI_SUCCESS;
}

int attachments(const Object& r) { return static_cast<int>(r.attached.size()); }

// How many regions of a type one channel draws.
int perChannel(RGN_TYPE_E type) { return type == MOSAIC_RGN ? 4 : 8; }

// Regions of a type attached to a channel.
int drawnOn(const Key& target, RGN_TYPE_E type) {
  int n = 0;
  for (const Key& k : objects(kMod)) {
    const Object* r = find(k);
    if (r && r->attached.count(target) && typeOf(*r) == type) ++n;
  }
  return n;
}

bool sameSize(const RGN_ATTR_S& a, const RGN_ATTR_S& b) {
  const SIZE_S& x = a.enType == OVERLAYEX_RGN ? a.unAttr.stOverlayEx.stSize : a.unAttr.stOverlay.stSize;
  const SIZE_S& y = b.enType == OVERLAYEX_RGN ? b.unAttr.stOverlayEx.stSize : b.unAttr.stOverlay.stSize;
  return x.u32Width == y.u32Width && x.u32Height == y.u32Height;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_RGN_Create(RGN_HANDLE h, const RGN_ATTR_S* attr) {
  if (h >= RGN_HANDLE_MAX) return fault(INVALID_DEVID);
  if (!sys_ready()) return fault(SYS_NOTREADY);
  if (!attr) return fault(NULL_PTR);
  if (find(regionKey(h))) return fault(EXIST);
  if (HI_S32 bad = judgeAttr(*attr)) return bad;
  Object& o = obtain(regionKey(h));
  o.created = true;
  o.put("Attr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_Destroy(RGN_HANDLE h) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (int n = attachments(*r.o))
    finding("region-destroyed-while-attached",
            "RGN " + std::to_string(h) + " destroyed while attached to " + std::to_string(n) + " channel(s)");
  destroy(regionKey(h));
  return HI_SUCCESS;
}

// The type stays what it was created as; an attached overlay keeps its size.
HI_S32 HI_MPI_RGN_SetAttr(RGN_HANDLE h, const RGN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!attr) return fault(NULL_PTR);
  RGN_ATTR_S now{};
  r.o->get("Attr", &now);
  if (attr->enType != now.enType) return fault(NOT_PERM);
  if (HI_S32 bad = judgeAttr(*attr)) return bad;
  bool overlay = now.enType == OVERLAY_RGN || now.enType == OVERLAYEX_RGN;
  if (overlay && attachments(*r.o) && !sameSize(*attr, now)) return fault(NOT_PERM);
  r.o->put("Attr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_GetAttr(RGN_HANDLE h, RGN_ATTR_S* attr) { return load(kMod, region(h), "Attr", attr, RGN_ATTR_S{}); }

HI_S32 HI_MPI_RGN_AttachToChn(RGN_HANDLE h, const MPP_CHN_S* chn, const RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return fault(NULL_PTR);
  RGN_ATTR_S a{};
  r.o->get("Attr", &a);
  Key target{static_cast<int>(chn->enModId), chn->s32DevId, chn->s32ChnId};
  if (!takes(a.enType, target.mod)) return fault(NOT_SUPPORT);
  if (!endpoint_exists(target)) return fault(UNEXIST);
  if (r.o->has(attachment(*chn))) return fault(EXIST);
  if (HI_S32 bad = judgeChnAttr(*r.o, *attr)) return bad;
  if (drawnOn(target, a.enType) >= perChannel(a.enType)) return fault(NOBUF);
  r.o->put(attachment(*chn), *attr);
  r.o->attached.insert(target);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_DetachFromChn(RGN_HANDLE h, const MPP_CHN_S* chn) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn) return fault(NULL_PTR);
  if (!r.o->attrs.erase(attachment(*chn))) return fault(UNEXIST);
  r.o->attached.erase(Key{static_cast<int>(chn->enModId), chn->s32DevId, chn->s32ChnId});
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_SetDisplayAttr(RGN_HANDLE h, const MPP_CHN_S* chn, const RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return fault(NULL_PTR);
  if (!r.o->has(attachment(*chn))) return fault(UNEXIST);
  if (HI_S32 bad = judgeChnAttr(*r.o, *attr)) return bad;
  r.o->put(attachment(*chn), *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_GetDisplayAttr(RGN_HANDLE h, const MPP_CHN_S* chn, RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return fault(NULL_PTR);
  return r.o->get(attachment(*chn), attr) ? HI_SUCCESS : fault(UNEXIST);
}

HI_S32 HI_MPI_RGN_SetAttachField(RGN_HANDLE h, VIDEO_FIELD_E field) {
  return store(kMod, region(h), "Field", &field, [](VIDEO_FIELD_E f) {
    return f == VIDEO_FIELD_TOP || f == VIDEO_FIELD_BOTTOM || f == VIDEO_FIELD_FRAME ? HI_SUCCESS
                                                                                     : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_RGN_GetAttachField(RGN_HANDLE h, VIDEO_FIELD_E* field) {
  return load(kMod, region(h), "Field", field, VIDEO_FIELD_FRAME);
}

}  // namespace h
}  // namespace sim
