// Video files as capture sources: FFmpeg demuxes and decodes them, libswscale
// brings each picture to the capture channel's size and format, and the end
// of the file starts it again.
#include "media/media.h"

#ifdef TESSEL_SIM_FFMPEG

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace sim {
namespace media {
namespace {

class FfmpegVideo : public VideoFile {
public:
    ~FfmpegVideo() override {
        sws_freeContext(sws_);
        av_frame_free(&frame_);
        av_packet_free(&packet_);
        avcodec_free_context(&codec_);
        avformat_close_input(&format_);
    }

    bool open(const std::string& path, std::string* error) {
        if (avformat_open_input(&format_, path.c_str(), nullptr, nullptr) < 0) {
            *error = "cannot open " + path;
            return false;
        }
        const AVCodec* decoder = nullptr;
        if (avformat_find_stream_info(format_, nullptr) < 0 ||
            (stream_ = av_find_best_stream(format_, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0)) < 0) {
            *error = path + " has no video";
            return false;
        }
        codec_ = avcodec_alloc_context3(decoder);
        if (!codec_ || avcodec_parameters_to_context(codec_, format_->streams[stream_]->codecpar) < 0 ||
            avcodec_open2(codec_, decoder, nullptr) < 0) {
            *error = "cannot decode the video of " + path;
            return false;
        }
        frame_ = av_frame_alloc();
        packet_ = av_packet_alloc();
        return frame_ && packet_;
    }

    bool next(Picture* out) override {
        for (int attempts = 0; attempts < 2; ++attempts) {
            if (decode()) return convert(out);
            // The end: from the start again.
            av_seek_frame(format_, stream_, 0, AVSEEK_FLAG_BACKWARD);
            avcodec_flush_buffers(codec_);
        }
        return false;
    }

private:
    bool decode() {
        for (;;) {
            const int got = avcodec_receive_frame(codec_, frame_);
            if (got == 0) return true;
            if (got != AVERROR(EAGAIN)) return false;
            if (av_read_frame(format_, packet_) < 0) {
                avcodec_send_packet(codec_, nullptr);  // drain what is held
                if (avcodec_receive_frame(codec_, frame_) == 0) return true;
                return false;
            }
            if (packet_->stream_index == stream_) avcodec_send_packet(codec_, packet_);
            av_packet_unref(packet_);
        }
    }

    // NV21 for semi-planar 4:2:0; 4:2:2 through NV16 with U and V swapped.
    bool convert(Picture* out) {
        const bool p422 = out->format == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
        sws_ = sws_getCachedContext(sws_, frame_->width, frame_->height, static_cast<AVPixelFormat>(frame_->format),
                                    static_cast<int>(out->width), static_cast<int>(out->height),
                                    p422 ? AV_PIX_FMT_NV16 : AV_PIX_FMT_NV21, SWS_BILINEAR, nullptr, nullptr, nullptr);
        if (!sws_) return false;
        std::uint8_t* planes[4] = {out->plane(0), out->plane(1), nullptr, nullptr};
        int strides[4] = {static_cast<int>(out->stride[0]), static_cast<int>(out->stride[1]), 0, 0};
        sws_scale(sws_, frame_->data, frame_->linesize, 0, frame_->height, planes, strides);
        if (p422)
            for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(out->stride[1]) * out->rows[1]; i += 2)
                std::swap(out->plane(1)[i], out->plane(1)[i + 1]);
        return true;
    }

    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    SwsContext* sws_ = nullptr;
    int stream_ = -1;
};

}  // namespace

std::unique_ptr<VideoFile> open_video(const std::string& path, std::string* error) {
    std::unique_ptr<FfmpegVideo> v(new FfmpegVideo());
    if (!v->open(path, error)) return nullptr;
    return std::unique_ptr<VideoFile>(v.release());
}

}  // namespace media
}  // namespace sim

#else

namespace sim {
namespace media {

std::unique_ptr<VideoFile> open_video(const std::string& path, std::string* error) {
    *error = "this build plays no video files (it has no FFmpeg): " + path;
    return nullptr;
}

}  // namespace media
}  // namespace sim

#endif
