// Pictures, and the memory behind the platform's physical addresses: a
// caller maps a lent picture's planes with HI_MPI_SYS_Mmap, as on a board.
#include <cstring>
#include <map>
#include <set>

#include "media/media.h"

namespace sim {
namespace media {
namespace {

struct Region {
    std::uint8_t* bytes;
    std::size_t size;
};

struct Memory {
    std::map<std::uint32_t, Region> regions;  // by first physical address
    std::uint32_t next = 0x40000000u;
    std::map<std::uint32_t, PicturePtr> lent;  // by the first plane's address
};

Memory& memory() {
    static Memory m;
    return m;
}

std::set<Key>& poolReported() {
    static std::set<Key> s;
    return s;
}

void forget() {
    Memory& m = memory();
    m.regions.clear();
    m.lent.clear();
    m.next = 0x40000000u;
    poolReported().clear();
}
const bool g_reset = (on_reset(&forget), true);

}  // namespace

bool modelled(PIXEL_FORMAT_E f) {
    return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

namespace {

// The layout of a picture of the format; null for formats not modelled.
std::shared_ptr<Picture> laidOut(std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format) {
    if (!modelled(format) || width == 0 || height == 0) return nullptr;
    auto p = std::make_shared<Picture>();
    p->width = width;
    p->height = height;
    p->format = format;
    p->planes = 2;
    p->stride[0] = p->stride[1] = width;
    p->rows[0] = height;
    p->rows[1] = format == PIXEL_FORMAT_YUV_SEMIPLANAR_420 ? (height + 1) / 2 : height;
    p->offset[1] = width * height;
    return p;
}

}  // namespace

std::shared_ptr<Picture> Picture::make(std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format) {
    auto p = laidOut(width, height, format);
    if (!p) return nullptr;
    p->data_.resize(p->size());
    std::memset(p->data_.data(), 16, p->offset[1]);  // black
    std::memset(p->data_.data() + p->offset[1], 128, p->size() - p->offset[1]);
    return p;
}

std::shared_ptr<Picture> Picture::make(std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format,
                                       std::shared_ptr<const Origin> origin) {
    auto p = laidOut(width, height, format);
    if (!p) return nullptr;
    p->origin_ = std::move(origin);
    return p;
}

void Picture::made() const {
    const std::shared_ptr<const Origin> origin = std::move(origin_);
    origin_.reset();
    data_.resize(size());
    origin->make(*this, data_.data());
}

void check_pool(Key maker, const Picture& pic) {
    if (picture_block_fits(pic.size()) || !poolReported().insert(maker).second) return;
    finding("pool-too-small", label(maker) + " makes " + std::to_string(pic.width) + "x" + std::to_string(pic.height) +
                                  " pictures of " + std::to_string(pic.size()) +
                                  " bytes, larger than any block of the common and module pools: a board makes none");
}

std::uint32_t map_memory(void* bytes, std::size_t size) {
    Memory& m = memory();
    const std::uint32_t phys = m.next;
    m.regions[phys] = Region{static_cast<std::uint8_t*>(bytes), size};
    m.next += static_cast<std::uint32_t>((size + 0xFFFu) & ~static_cast<std::size_t>(0xFFFu)) + 0x1000u;
    if (m.next < 0x40000000u) m.next = 0x40000000u;  // wrapped: addresses are reused
    return phys;
}

void unmap_memory(std::uint32_t phys) { memory().regions.erase(phys); }

void* virtual_of(std::uint32_t phys, std::size_t size) {
    Memory& m = memory();
    auto it = m.regions.upper_bound(phys);
    if (it == m.regions.begin()) return nullptr;
    --it;
    const std::size_t at = phys - it->first;
    if (at > it->second.size || size > it->second.size - at) return nullptr;
    return it->second.bytes + at;
}

void lend(const PicturePtr& pic, VIDEO_FRAME_INFO_S* out) {
    std::memset(out, 0, sizeof *out);
    VIDEO_FRAME_S& f = out->stVFrame;
    f.u32Width = pic->width;
    f.u32Height = pic->height;
    f.u32Field = VIDEO_FIELD_FRAME;
    f.enPixelFormat = pic->format;
    auto* bytes = const_cast<std::uint8_t*>(pic->bytes().data());
    const std::uint32_t base = map_memory(bytes, pic->size());
    for (std::uint32_t i = 0; i < pic->planes; ++i) {
        f.u32PhyAddr[i] = base + pic->offset[i];
        f.pVirAddr[i] = bytes + pic->offset[i];
        f.u32Stride[i] = pic->stride[i];
    }
    f.u64pts = pic->pts;
    f.u32TimeRef = pic->seq * 2;
    out->u32PoolId = VB_INVALID_POOLID;
    memory().lent[base] = pic;
}

PicturePtr take_back(const VIDEO_FRAME_INFO_S& frame) {
    Memory& m = memory();
    auto it = m.lent.find(frame.stVFrame.u32PhyAddr[0]);
    if (it == m.lent.end()) return nullptr;
    PicturePtr pic = it->second;
    m.lent.erase(it);
    unmap_memory(frame.stVFrame.u32PhyAddr[0]);
    return pic;
}

PicturePtr read_frame(const VIDEO_FRAME_INFO_S& frame) {
    const VIDEO_FRAME_S& f = frame.stVFrame;
    auto pic = Picture::make(f.u32Width, f.u32Height, f.enPixelFormat);
    if (!pic) return nullptr;
    for (std::uint32_t i = 0; i < pic->planes; ++i) {
        const std::uint32_t stride = f.u32Stride[i] ? f.u32Stride[i] : pic->stride[i];
        if (stride < pic->stride[i]) return nullptr;
        const auto* src = static_cast<const std::uint8_t*>(
            virtual_of(f.u32PhyAddr[i], static_cast<std::size_t>(stride) * (pic->rows[i] - 1) + pic->stride[i]));
        if (!src) return nullptr;
        for (std::uint32_t r = 0; r < pic->rows[i]; ++r)
            std::memcpy(pic->plane(i) + static_cast<std::size_t>(r) * pic->stride[i],
                        src + static_cast<std::size_t>(r) * stride, pic->stride[i]);
    }
    pic->pts = f.u64pts;
    pic->seq = f.u32TimeRef / 2;
    return pic;
}

}  // namespace media
}  // namespace sim
