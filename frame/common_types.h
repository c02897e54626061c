// Types shared by several modules: points, sizes, rectangles, borders, aspect
// ratios and the common video and payload enumerations.
#pragma once

#include "platform/mpp.h"

#include "frame/convert.h"

TESSEL_DECLARE_STRUCT(POINT_S)
TESSEL_DECLARE_STRUCT(SIZE_S)
TESSEL_DECLARE_STRUCT(RECT_S)
TESSEL_DECLARE_STRUCT(BORDER_S)
TESSEL_DECLARE_STRUCT(ASPECT_RATIO_S)
TESSEL_DECLARE_ENUM(VIDEO_FIELD_E)
TESSEL_DECLARE_ENUM(VIDEO_FORMAT_E)
TESSEL_DECLARE_ENUM(COMPRESS_MODE_E)
TESSEL_DECLARE_ENUM(PIXEL_FORMAT_E)
TESSEL_DECLARE_ENUM(PAYLOAD_TYPE_E)

namespace Tessel {
extern const EnumDesc kPixelFormats;
extern const EnumDesc kPayloadTypes;
}  // namespace Tessel
