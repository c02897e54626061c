// Streams as the codec adapters see them: Annex B start codes, NAL unit
// types and the platform's pack types for them, and what tells a stream of
// the payload from other bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/sim.h"

namespace sim {
namespace media {

// The first start code (00 00 01, or 00 00 00 01) at or after from: its
// position, and in *length its size; size when there is none.
inline std::size_t find_start_code(const std::uint8_t* b, std::size_t size, std::size_t from,
                                   std::size_t* length) {
    for (std::size_t i = from; i + 3 <= size; ++i) {
        if (b[i] != 0 || b[i + 1] != 0) continue;
        if (b[i + 2] == 1) {
            *length = 3;
            return i;
        }
        if (b[i + 2] == 0 && i + 4 <= size && b[i + 3] == 1) {
            *length = 4;
            return i;
        }
    }
    *length = 0;
    return size;
}

// The NAL unit type in the header that follows a start code.
inline int nal_type(PAYLOAD_TYPE_E payload, std::uint8_t first) {
    return payload == PT_H265 ? (first >> 1) & 0x3f : first & 0x1f;
}

// The platform's pack type for a NAL unit type; -1 for units the platform
// has no pack type for (delimiters, filler), which travel in the pack before.
inline int pack_type(PAYLOAD_TYPE_E payload, int nal) {
    if (payload == PT_H264) {
        switch (nal) {
        case 1: return H264E_NALU_PSLICE;
        case 5: return H264E_NALU_IDRSLICE;
        case 6: return H264E_NALU_SEI;
        case 7: return H264E_NALU_SPS;
        case 8: return H264E_NALU_PPS;
        default: return -1;
        }
    }
    switch (nal) {
    case 19: case 20: return H265E_NALU_IDRSLICE;
    case 32: return H265E_NALU_VPS;
    case 33: return H265E_NALU_SPS;
    case 34: return H265E_NALU_PPS;
    case 39: case 40: return H265E_NALU_SEI;
    default: return nal < 32 ? (int)H265E_NALU_PSLICE : -1;
    }
}

// Whether a slice NAL unit (its header and the byte after) starts a picture:
// first_mb_in_slice is 0 (H.264), first_slice_segment_in_pic_flag is set
// (H.265).
inline bool starts_picture(PAYLOAD_TYPE_E payload, const std::uint8_t* nal) {
    return payload == PT_H265 ? (nal[2] & 0x80) != 0 : (nal[1] & 0x80) != 0;
}

// Whether a NAL unit header (avail bytes of it at hand) is one the payload
// can have: forbidden bit clear, a type that is not reserved, and for H.265
// the base layer and a temporal id.
inline bool valid_header(PAYLOAD_TYPE_E payload, const std::uint8_t* nal, std::size_t avail) {
    if (avail < (payload == PT_H265 ? 2u : 1u) || (nal[0] & 0x80)) return false;
    int type = nal_type(payload, nal[0]);
    if (payload == PT_H265) {
        bool layer0 = (nal[0] & 1) == 0 && (nal[1] >> 3) == 0;
        return layer0 && (nal[1] & 7) != 0 && (type <= 9 || (type >= 16 && type <= 21) || (type >= 32 && type <= 40));
    }
    return (type >= 1 && type <= 15) || type == 19 || type == 20;
}

// Whether every NAL unit that starts in b has a valid header.
inline bool valid_units(PAYLOAD_TYPE_E payload, const std::uint8_t* b, std::size_t size) {
    std::size_t len = 0;
    for (std::size_t at = find_start_code(b, size, 0, &len); at < size; at = find_start_code(b, size, at + len, &len))
        if (size - at - len >= 2 && !valid_header(payload, b + at + len, size - at - len)) return false;
    return true;
}

// A JPEG stream begins with a start-of-image marker (FF D8): the first two
// bytes fed, in whatever chunks they come, tell.
class JpegStart {
public:
    // False once the stream is known not to begin with one.
    bool feed(const std::uint8_t* b, std::size_t size) {
        for (; seen_ < 2 && size > 0; ++b, --size) bad_ = bad_ || *b != (seen_++ ? 0xd8 : 0xff);
        return !bad_;
    }
    void restart() { seen_ = 0, bad_ = false; }

private:
    int seen_ = 0;
    bool bad_ = false;
};

}  // namespace media
}  // namespace sim
