// Regions as the platform has them.
//
// A region (RGN, handle, -1) is created with the system up, with a type and,
// for overlays, a pixel format the overlay hardware draws (ARGB 1555, 4444 or
// 8888) and an even size within the type's limits. It is attached to channels
// that exist in simulated modules and that take its type (overlays on
// encoders; extended overlays on capture, processing and display; covers on
// capture and processing; extended covers on capture, processing and display; lines and
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
  if (h >= RGN_HANDLE_MAX) return missing(refuse(fault(INVALID_DEVID), "region handle %u outside [0, %d)", h, RGN_HANDLE_MAX));
  Object* o = find(regionKey(h));
  return {o, o ? HI_SUCCESS : refuse(fault(UNEXIST), "region %u does not exist", h)};
}

const char* typeName(RGN_TYPE_E type) {
  switch (type) {
    case OVERLAY_RGN: return "OVERLAY";
    case OVERLAYEX_RGN: return "OVERLAYEX";
    case COVER_RGN: return "COVER";
    case COVEREX_RGN: return "COVEREX";
    case LINE_RGN: return "LINE";
    case MOSAIC_RGN: return "MOSAIC";
    default: return "unknown";
  }
}

const char* moduleName(int mod) {
  switch (mod) {
    case HI_ID_VIU: return "a capture";
    case HI_ID_VPSS: return "a processing";
    case HI_ID_VOU: return "a display";
    case HI_ID_VENC: return "an encoder";
    default: return "this";
  }
}

// The modules a region type is drawn in.
bool takes(RGN_TYPE_E type, int mod) {
  bool capture = mod == HI_ID_VIU, processing = mod == HI_ID_VPSS, display = mod == HI_ID_VOU;
  switch (type) {
    case OVERLAY_RGN: return mod == HI_ID_VENC;
    case OVERLAYEX_RGN:
    case COVEREX_RGN: return capture || processing || display;
    case COVER_RGN: return capture || processing;
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
  if (!format)
    return refuse(fault(NOT_SUPPORT), "pixel format %d: overlays draw ARGB 1555, 4444 or 8888", o.enPixelFmt);
  if (!size)
    return refuse(fault(ILLEGAL_PARAM), "overlay size %ux%u: even, from %dx%d to %ux%u", o.stSize.u32Width,
                  o.stSize.u32Height, RGN_MIN_WIDTH, RGN_MIN_HEIGHT, maxW, maxH);
  return HI_SUCCESS;
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
    default: return refuse(fault(ILLEGAL_PARAM), "region type %d is none the platform has", a.enType);
  }
}

std::string attachment(const MPP_CHN_S& c) {
  const Key k = address(Key{static_cast<int>(c.enModId), c.s32DevId, c.s32ChnId});
  return "on " + std::to_string(k.mod) + "/" + std::to_string(k.dev) + "/" + std::to_string(k.chn);
}

RGN_TYPE_E typeOf(const Object& r) {
  RGN_ATTR_S attr{};
  r.get("Attr", &attr);
  return attr.enType;
}

// The channel attributes must be of the region's own type.
HI_S32 judgeChnAttr(const Object& r, const RGN_CHN_ATTR_S& a) {
  if (a.enType != typeOf(r))
    return refuse(fault(ILLEGAL_PARAM), "channel attributes of type %s for a %s region", typeName(a.enType),
                  typeName(typeOf(r)));
  if (a.bShow != HI_TRUE && a.bShow != HI_FALSE) return refuse(fault(ILLEGAL_PARAM), "bShow %d is no boolean", a.bShow);
  if (a.enType == OVERLAY_RGN && a.unChnAttr.stOverlayChn.u32Layer > 7)
    return refuse(fault(ILLEGAL_PARAM), "overlay layer %u outside [0, 7]", a.unChnAttr.stOverlayChn.u32Layer);
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
  if (h >= RGN_HANDLE_MAX) return refuse(fault(INVALID_DEVID), "region handle %u outside [0, %d)", h, RGN_HANDLE_MAX);
  if (!sys_ready()) return notReady(kMod);
  if (!attr) return refuse(fault(NULL_PTR), "no attributes given (null pointer)");
  if (find(regionKey(h))) return refuse(fault(EXIST), "region %u exists already", h);
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
  if (!attr) return refuse(fault(NULL_PTR), "no attributes given (null pointer)");
  RGN_ATTR_S now{};
  r.o->get("Attr", &now);
  if (attr->enType != now.enType)
    return refuse(fault(NOT_PERM), "region %u is a %s region; its type cannot become %s", h, typeName(now.enType),
                  typeName(attr->enType));
  if (HI_S32 bad = judgeAttr(*attr)) return bad;
  bool overlay = now.enType == OVERLAY_RGN || now.enType == OVERLAYEX_RGN;
  if (overlay && attachments(*r.o) && !sameSize(*attr, now))
    return refuse(fault(NOT_PERM), "overlay %u is attached: its size cannot change", h);
  r.o->put("Attr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_GetAttr(RGN_HANDLE h, RGN_ATTR_S* attr) { return load(kMod, region(h), "Attr", attr, RGN_ATTR_S{}); }

HI_S32 HI_MPI_RGN_AttachToChn(RGN_HANDLE h, const MPP_CHN_S* chn, const RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return refuse(fault(NULL_PTR), "no channel or attributes given (null pointer)");
  RGN_ATTR_S a{};
  r.o->get("Attr", &a);
  Key target = address(Key{static_cast<int>(chn->enModId), chn->s32DevId, chn->s32ChnId});
  if (!takes(a.enType, target.mod))
    return refuse(fault(NOT_SUPPORT), "%s regions are not drawn on %s channel", typeName(a.enType),
                  moduleName(target.mod));
  if (!endpoint_exists(target)) return refuse(fault(UNEXIST), "%s does not exist", label(target).c_str());
  if (r.o->has(attachment(*chn))) return refuse(fault(EXIST), "region %u is attached to %s already", h, label(target).c_str());
  if (HI_S32 bad = judgeChnAttr(*r.o, *attr)) return bad;
  if (drawnOn(target, a.enType) >= perChannel(a.enType))
    return refuse(fault(NOBUF), "%s draws %d %s regions already, its most", label(target).c_str(),
                  perChannel(a.enType), typeName(a.enType));
  r.o->put(attachment(*chn), *attr);
  r.o->attached.insert(target);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_DetachFromChn(RGN_HANDLE h, const MPP_CHN_S* chn) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn) return refuse(fault(NULL_PTR), "no channel given (null pointer)");
  if (!r.o->attrs.erase(attachment(*chn))) return refuse(fault(UNEXIST), "region %u is not attached there", h);
  r.o->attached.erase(address(Key{static_cast<int>(chn->enModId), chn->s32DevId, chn->s32ChnId}));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_SetDisplayAttr(RGN_HANDLE h, const MPP_CHN_S* chn, const RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return refuse(fault(NULL_PTR), "no channel or attributes given (null pointer)");
  if (!r.o->has(attachment(*chn))) return refuse(fault(UNEXIST), "region %u is not attached there", h);
  if (HI_S32 bad = judgeChnAttr(*r.o, *attr)) return bad;
  r.o->put(attachment(*chn), *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_RGN_GetDisplayAttr(RGN_HANDLE h, const MPP_CHN_S* chn, RGN_CHN_ATTR_S* attr) {
  Found r = region(h);
  if (!r.o) return r.rc;
  if (!chn || !attr) return refuse(fault(NULL_PTR), "no channel or attributes given (null pointer)");
  return r.o->get(attachment(*chn), attr) ? HI_SUCCESS : refuse(fault(UNEXIST), "region %u is not attached there", h);
}

HI_S32 HI_MPI_RGN_SetAttachField(RGN_HANDLE h, VIDEO_FIELD_E field) {
  return store(kMod, region(h), "Field", &field, [](VIDEO_FIELD_E f) {
    return checks(kMod)
        .rule(f == VIDEO_FIELD_TOP || f == VIDEO_FIELD_BOTTOM || f == VIDEO_FIELD_FRAME,
              "field %d is none of top, bottom and frame", f);
  });
}

HI_S32 HI_MPI_RGN_GetAttachField(RGN_HANDLE h, VIDEO_FIELD_E* field) {
  return load(kMod, region(h), "Field", field, VIDEO_FIELD_FRAME);
}

}  // namespace h
}  // namespace sim
