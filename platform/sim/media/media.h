// The simulator's media core: the clock, pictures lent to callers, codec
// adapters and the delivery of pictures along bindings. Each module's
// simulation plugs into it; nothing here knows a module's rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/sim.h"

namespace sim {
namespace media {

// ---- time -------------------------------------------------------------------------
// Simulated time in microseconds since the last reset. Real: it follows the
// steady clock, and waits sleep. Virtual: it stands still until a wait moves
// it, at once, to the moment the wait ends; the same script then always
// makes the same pictures and bytes.
enum class Clock { Real, Virtual };
void set_clock(Clock mode);
Clock clock();
std::int64_t now();

// ---- pictures -----------------------------------------------------------------------
// Planar 4:2:0 planes (a decoder's own) that a picture's bytes are made from.
struct Planes420 {
    const std::uint8_t* plane[3];  // Y, U, V
    int stride[3];
};

struct Picture;
// What makes a picture's bytes when they are first used: a decoded picture
// keeps its decoder's planes until then, so that one only shown is never
// converted (the display reads the planes themselves).
class Origin {
public:
    virtual ~Origin() = default;
    virtual void make(const Picture& pic, std::uint8_t* bytes) const = 0;  // all of them, in pic's layout
    virtual const Planes420* planes() const = 0;    // null when they are not planar 4:2:0
};

// A picture in one block of memory, planes one after another. The platform's
// semi-planar formats (PIXEL_FORMAT_YUV_SEMIPLANAR_420 and _422) hold a luma
// plane and one plane of interleaved chroma, V before U; rows have no
// padding (stride = width).
struct Picture {
    std::uint32_t width = 0, height = 0;
    PIXEL_FORMAT_E format = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
    std::uint32_t planes = 0;
    std::uint32_t stride[3] = {0, 0, 0};
    std::uint32_t offset[3] = {0, 0, 0};  // of each plane in the bytes
    std::uint32_t rows[3] = {0, 0, 0};    // of each plane
    std::uint64_t pts = 0;  // microseconds
    std::uint32_t seq = 0;

    // A picture of the format, black; null for formats not modelled.
    static std::shared_ptr<Picture> make(std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format);
    // A picture of the format whose bytes origin makes when they are first used.
    static std::shared_ptr<Picture> make(std::uint32_t width, std::uint32_t height, PIXEL_FORMAT_E format,
                                         std::shared_ptr<const Origin> origin);

    // The bytes (made now if they were still to be made).
    std::vector<std::uint8_t>& bytes() {
        if (origin_) made();
        return data_;
    }
    const std::vector<std::uint8_t>& bytes() const {
        if (origin_) made();
        return data_;
    }
    // The bytes' size, made or not: the last plane ends them.
    std::size_t size() const {
        return planes ? offset[planes - 1] + static_cast<std::size_t>(stride[planes - 1]) * rows[planes - 1] : 0;
    }
    std::uint8_t* plane(int i) { return bytes().data() + offset[i]; }
    const std::uint8_t* plane(int i) const { return bytes().data() + offset[i]; }
    // The planar planes the bytes are still to be made from; null once they
    // are made, or when the origin's planes are not planar 4:2:0.
    const Planes420* unmade() const { return origin_ ? origin_->planes() : nullptr; }
    // What holds those planes (null once the bytes are made).
    std::shared_ptr<const Origin> origin() const { return origin_; }

private:
    void made() const;
    mutable std::vector<std::uint8_t> data_;
    mutable std::shared_ptr<const Origin> origin_;
};
using PicturePtr = std::shared_ptr<const Picture>;
using MutablePicture = std::shared_ptr<Picture>;

bool modelled(PIXEL_FORMAT_E format);  // the formats Picture::make makes

// Lends a picture to a caller as the platform's frame description: physical
// addresses (which HI_MPI_SYS_Mmap maps back to the bytes) and virtual ones.
// The picture stays alive until it is returned.
void lend(const PicturePtr& pic, VIDEO_FRAME_INFO_S* out);
// The picture a frame description lent out names, taken back; null when the
// description names none lent (a forged or twice-released frame).
PicturePtr take_back(const VIDEO_FRAME_INFO_S& frame);
// A caller's frame (lent or built from pool blocks) read into a picture of
// its own; null when its addresses name no memory the simulator knows or its
// format is not modelled.
PicturePtr read_frame(const VIDEO_FRAME_INFO_S& frame);
// Memory that pictures and pool blocks occupy, by physical address.
std::uint32_t map_memory(void* bytes, std::size_t size);  // a physical address for it
void unmap_memory(std::uint32_t phys);
void* virtual_of(std::uint32_t phys, std::size_t size);   // null when [phys, phys+size) is not known

// Converts and scales: the crop rectangle of in (whole picture when null)
// into out, which has its size and format already.
void scale(const Picture& in, const RECT_S* crop, Picture* out);

// ---- codecs -------------------------------------------------------------------------
struct EncoderConfig {
    PAYLOAD_TYPE_E type = PT_H264;  // PT_H264, PT_H265, PT_JPEG, PT_MJPEG
    std::uint32_t width = 0, height = 0;
    std::uint32_t profile = 0;  // H.264: 0 baseline, 1 main, 2 high, 3 SVC-T (encoded as high)
    std::uint32_t gop = 30;     // pictures from one IDR to the next
    enum Rate { Cbr, Vbr, Avbr, FixQp } rate = Cbr;
    std::uint32_t kbps = 0;     // CBR target, VBR/AVBR maximum
    std::uint32_t fps = 30;     // destination frame rate
    std::uint32_t iqp = 0, pqp = 0;  // FixQp
    std::uint32_t minqp = 0, maxqp = 51;
    std::uint32_t qfactor = 90;      // JPEG and MJPEG FixQp quality, 1 to 99
};

// One encoded picture: its bytes (Annex B start codes included for H.264
// and H.265) cut into packs as the platform cuts them, parameter sets and
// SEI in packs of their own before an IDR slice.
struct Pack {
    int type;  // the platform's DataType: H264E_NALU_TYPE_E, H265E_NALU_TYPE_E or JPEGE_PACK_TYPE_E
    std::size_t offset, length;
};
struct Encoded {
    std::vector<std::uint8_t> bytes;
    std::vector<Pack> packs;
    bool keyframe = false;
};

class Encoder {
public:
    virtual ~Encoder() = default;
    // Encodes one picture; idr forces an IDR (and its parameter sets).
    // False when the codec fails.
    virtual bool encode(const Picture& pic, bool idr, Encoded* out) = 0;
};
// The host build encodes with FFmpeg (libx264, libx265, mjpeg); a build
// without it makes stand-in packs of the same shape, the same for the same
// pictures.
std::unique_ptr<Encoder> make_encoder(const EncoderConfig& config);

class Decoder {
public:
    virtual ~Decoder() = default;
    // Feeds stream bytes in any chunking; decoded pictures (semi-planar
    // 4:2:0) are appended to out with the pts of the chunk that ended them.
    // False when the bytes are not a stream of the decoder's payload.
    virtual bool feed(const std::uint8_t* bytes, std::size_t size, std::uint64_t pts,
                      std::vector<PicturePtr>* out) = 0;
    // End of stream: the pictures still held.
    virtual void flush(std::vector<PicturePtr>* out) = 0;
};
std::unique_ptr<Decoder> make_decoder(PAYLOAD_TYPE_E type);

// Reports once per object (until reset) when no pool has blocks for the
// pictures it makes: on a board it would make none.
void check_pool(Key maker, const Picture& pic);

// A video file that FFmpeg reads, played in a loop: each call gives its next
// picture converted to out's size and format. Null (and why) when the file
// cannot be played, or the build has no FFmpeg.
class VideoFile {
public:
    virtual ~VideoFile() = default;
    virtual bool next(Picture* out) = 0;
};
std::unique_ptr<VideoFile> open_video(const std::string& path, std::string* error);

// Files feeding a module's sources (sim.source): each module that takes
// them registers how; set_file_source answers false and why when the target
// takes none or the file is unusable. A null path goes back to the module's
// own picture or sound.
void on_file_source(int mod, bool (*set)(Key target, const char* path, std::string* error));
bool set_file_source(Key target, const char* path, std::string* error);

// Whether real codecs are built in (false: stand-ins).
bool real_codecs();

// ---- flow ---------------------------------------------------------------------------
// A picture arriving at an object (a processing group, an encoder channel,
// a display channel): the module that simulates the object registers how it
// takes it.
// wants tells whether the object takes pictures now (null: always), so that
// nobody makes pictures nobody takes.
void on_picture(int mod, void (*receive)(Key at, const PicturePtr& pic), bool (*wants)(Key at) = nullptr);
// Hands a picture to every destination bound to from.
void deliver(Key from, const PicturePtr& pic);
// Whether a destination bound to from takes pictures now.
bool wanted(Key from);
// What is drawn onto the pictures a channel puts out (the regions attached
// to it): the region module registers it, the channel's module calls it.
void on_draw(void (*draw)(Key at, Picture& pic), bool (*any)(Key at));
void draw(Key at, Picture& pic);
bool drawn(Key at);  // whether anything is drawn there
// Sources (capture channels, decoders) register what moves them forward:
// advance(t) makes everything due up to time t; next() is when the next
// thing is due (INT64_MAX: nothing).
struct Source {
    void (*advance)(std::int64_t until);
    std::int64_t (*next)();
};
void on_source(const Source& s);
// Brings every source up to now().
void pump();
// When the next thing is due (INT64_MAX: nothing).
std::int64_t due_next();
// Waits until ready() or until timeout_ms passes (-1: no limit, 0: no wait),
// pumping the sources; virtual time jumps from one due moment to the next,
// and a virtual wait that sees nothing come in 1000 of them gives up (nothing
// feeds what it waits for). True when ready.
bool wait_for(const std::function<bool()>& ready, int timeout_ms);

// ---- descriptors --------------------------------------------------------------------
// A descriptor that polls readable while its owner has data (an eventfd).
class Signal {
public:
    Signal();
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    int fd() const { return fd_; }
    void set(bool readable);

private:
    int fd_;
    bool readable_ = false;
};

}  // namespace media
}  // namespace sim
