#include "platform/FFmpegAudioFile.hpp"

#include "core/Checked.hpp"
#include "disc/LKOSStatus.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace lorvan::platform {
namespace {

constexpr const char* openFunction = "init(forReading:)";
constexpr const char* readFunction = "read(into:frameCount:)";

std::string ffmpegDescription(std::int32_t raw) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    if (av_strerror(raw, text.data(), text.size()) < 0) return "Unknown error " + std::to_string(raw);
    return text.data();
}

struct FormatContextDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct ResamplerDeleter {
    void operator()(SwrContext* context) const { swr_free(&context); }
};

constexpr std::size_t maximumFFmpegAllocation = std::size_t{256} << 20;

bool isAllowedDemuxer(const char* name) {
    static constexpr std::array<std::string_view, 5> names{"wav", "aiff", "flac", "mov,mp4,m4a,3gp,3g2,mj2",
                                                           "mp3"};
    return std::find(names.begin(), names.end(), std::string_view(name)) != names.end();
}

// The FORM type decides between AIFF and AIFF-C; FFmpeg reads both with one demuxer.
LKAudioFileType aiffType(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::array<char, 12> header{};
    if (!stream.read(header.data(), header.size())) return LKAudioFileType::unsupported;
    const std::string_view form(header.data() + 8, 4);
    if (form == "AIFC") return LKAudioFileType::aifc;
    if (form == "AIFF") return LKAudioFileType::aiff;
    return LKAudioFileType::unsupported;
}

LKAudioFileType fileTypeOf(const AVInputFormat* format, const std::filesystem::path& path) {
    const std::string_view name = format->name;
    if (name == "aiff") return aiffType(path);
    if (name == "wav") return LKAudioFileType::wave;
    if (name == "flac") return LKAudioFileType::flac;
    if (name.starts_with("mov,mp4,m4a")) return LKAudioFileType::m4a;
    return LKAudioFileType::unsupported;
}

std::uint32_t sourceDepthFlags(int bits) {
    switch (bits) {
    case 16:
        return AudioFormat::sourceData16Bit;
    case 20:
        return AudioFormat::sourceData20Bit;
    case 24:
        return AudioFormat::sourceData24Bit;
    case 32:
        return AudioFormat::sourceData32Bit;
    default:
        return 0;
    }
}

bool isLinearPCM(AVCodecID id) {
    return id >= AV_CODEC_ID_PCM_S16LE && id < AV_CODEC_ID_ADPCM_IMA_QT;
}

bool isLossy(AVCodecID id) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(id);
    return descriptor == nullptr || (descriptor->props & AV_CODEC_PROP_LOSSLESS) == 0;
}

} // namespace

void installFFmpegStatusDescriptions() {
    static std::once_flag once;
    std::call_once(once, [] {
        LKOSStatus::setDescriptionProvider(&ffmpegDescription);
        // Decoders complain about damaged files on standard error; Lorvan reports them itself.
        av_log_set_level(AV_LOG_FATAL);
        // Demuxers allocate what a file's headers claim before reading it: a damaged WAVE whose
        // INFO tag claims 1.2 GB made FFmpeg allocate and clear 1.2 GB, for half a minute, to refuse
        // a 160-byte file. No buffer of a playable file comes near this bound (decoded frames
        // are kilobytes, the largest thing is an embedded picture); past it, opening fails
        // with ENOMEM at once.
        av_max_alloc(maximumFFmpegAllocation);
    });
}

namespace {

class FFmpegAudioFile final : public AudioFile {
public:
    explicit FFmpegAudioFile(const Url& url)
        : url_(url) {
        openDecoder();
        describe();
        const AVStream* stream = format_->streams[streamIndex_];
        const std::int64_t declared = stream->duration > 0 ? av_rescale_q(stream->duration, stream->time_base,
                                                                          AVRational{1, sampleRate_})
                                                           : 0;
        // Lossy codecs trim encoder delay and padding while decoding, and MPEG-4 files state
        // their length in packets; only counting what the decoder delivers is exact for them.
        if (exactTimestamps_ && declared > 0) {
            length_ = declared;
            verifyEnd();
        } else {
            length_ = countFrames();
            // An MPEG-4 edit list states the exact playing length; the decoder leaves the
            // encoder's padding of the last packet in, so the stated length wins when shorter.
            if (fileType_ == LKAudioFileType::m4a && declared > 0) length_ = std::min(length_, declared);
        }
        opening_ = false;
    }

    const Url& url() const override { return url_; }
    std::int64_t length() const override { return length_; }
    const AudioFormat& fileFormat() const override { return fileFormat_; }
    const AudioFormat& processingFormat() const override { return processingFormat_; }
    std::optional<std::int32_t> bitDepth() const override { return bitDepth_; }
    LKAudioFileType fileType() const override { return fileType_; }
    std::int64_t framePosition() const override { return position_; }
    void setFramePosition(std::int64_t frame) override {
        position_ = std::clamp<std::int64_t>(frame, 0, length_);
    }

    void read(PCMBuffer& buffer, std::uint32_t frameCount) override {
        const std::int64_t wanted = std::min<std::int64_t>({static_cast<std::int64_t>(frameCount),
                                                            static_cast<std::int64_t>(buffer.frameCapacity()),
                                                            checkedSubtract(length_, position_)});
        buffer.setFrameLength(0);
        if (wanted <= 0) return;
        moveDecoderTo(position_);
        std::int64_t done = 0;
        while (done < wanted) {
            if (pendingAvailable() == 0 && !decodeNext()) {
                // The container promised more audio than the stream holds.
                fail(AVERROR_INVALIDDATA, "ExtAudioFileRead", function());
            }
            const std::int64_t count = std::min(pendingAvailable(), wanted - done);
            for (int channel = 0; channel < channels_; ++channel) {
                const float* source = pendingPlane(channel) + pendingOffset_;
                std::copy(source, source + count, buffer.channelData(channel) + done);
            }
            pendingOffset_ += count;
            cursor_ += count;
            done += count;
        }
        position_ = cursor_;
        buffer.setFrameLength(static_cast<std::uint32_t>(done));
    }

private:
    [[noreturn]] void fail(int status, std::string_view operation, std::string_view function,
                           SourceLocation at = SourceLocation::current()) const {
        checkStatus(status == 0 ? AVERROR_UNKNOWN : status, operation, url_, function, at);
        throw LKOSStatus(status); // not reached: checkStatus throws for every non-zero status
    }

    void check(int status, std::string_view operation, std::string_view function,
               SourceLocation at = SourceLocation::current()) const {
        if (status < 0) fail(status, operation, function, at);
    }

    void openDecoder() {
        installFFmpegStatusDescriptions();
        if (!url_.isFileURL()) fail(AVERROR(EINVAL), "ExtAudioFileOpenURL", openFunction);
        const std::string path = url_.path().string();
        AVFormatContext* rawFormat = nullptr;
        check(avformat_open_input(&rawFormat, path.c_str(), nullptr, nullptr), "ExtAudioFileOpenURL",
              openFunction);
        format_.reset(rawFormat);
        if (!isAllowedDemuxer(format_->iformat->name))
            fail(AVERROR_INVALIDDATA, "ExtAudioFileOpenURL", openFunction);
        check(avformat_find_stream_info(format_.get(), nullptr), "ExtAudioFileGetProperty: Data Format",
              openFunction);
        const AVCodec* codec = nullptr;
        const int stream = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
        check(stream, "ExtAudioFileGetProperty: Data Format", openFunction);
        streamIndex_ = stream;
        for (unsigned i = 0; i < format_->nb_streams; ++i)
            if (static_cast<int>(i) != streamIndex_) format_->streams[i]->discard = AVDISCARD_ALL;

        codec_.reset(avcodec_alloc_context3(codec));
        if (!codec_) fail(AVERROR(ENOMEM), "ExtAudioFileOpenURL", openFunction);
        const AVCodecParameters* parameters = format_->streams[streamIndex_]->codecpar;
        check(avcodec_parameters_to_context(codec_.get(), parameters), "ExtAudioFileGetProperty: Data Format",
              openFunction);
        // A damaged lossless frame must surface as an error, never as plausible noise: the decoder
        // refuses what it cannot parse and convertFrame refuses frames lost to a resync. Frame CRCs
        // are not checked; they cost a sixth of the decoding time.
        if (!isLossy(parameters->codec_id)) codec_->err_recognition |= AV_EF_EXPLODE;
        check(avcodec_open2(codec_.get(), codec, nullptr), "ExtAudioFileOpenURL", openFunction);

        sampleRate_ = codec_->sample_rate;
        channels_ = codec_->ch_layout.nb_channels;
        if (sampleRate_ <= 0 || channels_ <= 0)
            fail(AVERROR_INVALIDDATA, "ExtAudioFileOpenURL", openFunction);

        packet_.reset(av_packet_alloc());
        frame_.reset(av_frame_alloc());
        if (!packet_ || !frame_) fail(AVERROR(ENOMEM), "ExtAudioFileOpenURL", openFunction);
        resampler_.reset();
        pending_.clear();
        pendingFrames_ = pendingOffset_ = 0;
        cursor_ = 0;
        draining_ = finished_ = false;
        cursorKnown_ = true;
    }

    void describe() {
        const AVCodecParameters* parameters = format_->streams[streamIndex_]->codecpar;
        const AVCodecID id = parameters->codec_id;
        fileType_ = fileTypeOf(format_->iformat, url_.path());
        AudioFormat format;
        format.sampleRate = sampleRate_;
        format.channelsPerFrame = channels_;
        if (isLinearPCM(id)) {
            const int bits = av_get_bits_per_sample(id);
            const AVSampleFormat sampleFormat = codec_->sample_fmt;
            format.formatID = AudioFormat::linearPCM;
            format.formatFlags = AudioFormat::isPacked;
            if (sampleFormat == AV_SAMPLE_FMT_FLT || sampleFormat == AV_SAMPLE_FMT_DBL)
                format.formatFlags |= AudioFormat::isFloat;
            else if (id != AV_CODEC_ID_PCM_U8)
                format.formatFlags |= AudioFormat::isSignedInteger;
            const char* name = avcodec_get_name(id);
            if (std::string_view(name).ends_with("be")) format.formatFlags |= AudioFormat::isBigEndian;
            format.bitsPerChannel = bits;
            format.framesPerPacket = 1;
            format.bytesPerFrame =
                parameters->block_align > 0 ? parameters->block_align : channels_ * bits / 8;
            format.bytesPerPacket = format.bytesPerFrame;
            bitDepth_ = bits;
        } else {
            const int rawBits = parameters->bits_per_raw_sample > 0 ? parameters->bits_per_raw_sample
                                                                    : parameters->bits_per_coded_sample;
            switch (id) {
            case AV_CODEC_ID_FLAC:
                format.formatID = AudioFormat::flac;
                break;
            case AV_CODEC_ID_ALAC:
                format.formatID = AudioFormat::appleLossless;
                break;
            case AV_CODEC_ID_AAC:
                format.formatID = AudioFormat::mpeg4AAC;
                break;
            case AV_CODEC_ID_MP3:
                format.formatID = AudioFormat::mpegLayer3;
                break;
            default:
                format.formatID = parameters->codec_tag;
                break;
            }
            if (!isLossy(id)) {
                format.formatFlags = sourceDepthFlags(rawBits);
                if (rawBits > 0) {
                    bitDepth_ = rawBits;
                } else {
                    // A lossless stream that does not state its depth: reported, then absent,
                    // which the disc's format check compares like any other value.
                    try {
                        checkStatus(AVERROR(ENODATA), "AudioFileGetProperty: Source Bit Depth", url_,
                                    "bitDepth");
                    } catch (const LKOSStatus&) {
                    }
                }
            }
            format.framesPerPacket = parameters->frame_size > 0 ? parameters->frame_size : codec_->frame_size;
        }
        fileFormat_ = format;
        processingFormat_ = AudioFormat::processing(sampleRate_, channels_);
        // Packets of these codecs carry their first sample's exact index as timestamp, so a
        // seek can land on any frame; everything else is reached by decoding from the start.
        exactTimestamps_ = isLinearPCM(id) || id == AV_CODEC_ID_FLAC;
    }

    // Decodes the whole stream once: the only exact length for codecs whose container does not
    // state it. The decoder is then rewound.
    std::int64_t countFrames() {
        std::int64_t total = 0;
        while (decodeNext())
            total = checkedAdd(total, pendingAvailable());
        openDecoder();
        return total;
    }

    // A file cut short still states its full length; decoding its last frame finds that out at
    // open, before a disc is built from it.
    void verifyEnd() {
        const std::int64_t last = checkedSubtract(length_, std::int64_t{1});
        moveDecoderTo(last);
        if (pendingAvailable() == 0 && !decodeNext())
            fail(AVERROR_INVALIDDATA, "ExtAudioFileGetProperty: File Length in Sample Frames", openFunction);
    }

    std::int64_t pendingAvailable() const { return pendingFrames_ - pendingOffset_; }
    const float* pendingPlane(int channel) const {
        return pending_.data() +
               static_cast<std::size_t>(channel) * static_cast<std::size_t>(pendingCapacity_);
    }

    // Decodes the next frame of the stream into the pending planes. False at the end.
    bool decodeNext() {
        while (!finished_) {
            const int received = avcodec_receive_frame(codec_.get(), frame_.get());
            if (received == 0) {
                const bool hasFrames = convertFrame();
                av_frame_unref(frame_.get());
                if (hasFrames) return true;
                continue;
            }
            if (received == AVERROR_EOF) {
                finished_ = true;
                break;
            }
            if (received != AVERROR(EAGAIN)) fail(received, "ExtAudioFileRead", function());
            if (draining_) {
                finished_ = true;
                break;
            }
            const int status = av_read_frame(format_.get(), packet_.get());
            if (status == AVERROR_EOF) {
                draining_ = true;
                check(avcodec_send_packet(codec_.get(), nullptr), "ExtAudioFileRead", function());
                continue;
            }
            check(status, "ExtAudioFileRead", function());
            if (packet_->stream_index != streamIndex_) {
                av_packet_unref(packet_.get());
                continue;
            }
            const int sent = avcodec_send_packet(codec_.get(), packet_.get());
            av_packet_unref(packet_.get());
            check(sent, "ExtAudioFileRead", function());
        }
        pendingFrames_ = pendingOffset_ = 0;
        return false;
    }

    bool convertFrame() {
        const int frames = frame_->nb_samples;
        if (frames <= 0) return false;
        if (frame_->ch_layout.nb_channels != channels_ || frame_->sample_rate != sampleRate_)
            fail(AVERROR_INPUT_CHANGED, "ExtAudioFileRead", function());
        if (exactTimestamps_) {
            const std::int64_t pts = frame_->best_effort_timestamp;
            if (pts != AV_NOPTS_VALUE) {
                const AVStream* stream = format_->streams[streamIndex_];
                const std::int64_t start = av_rescale_q(pts, stream->time_base, AVRational{1, sampleRate_});
                // Frames are lost when a damaged stream resyncs further on; playing on would
                // shift every later frame, so it is an error.
                if (start != cursor_ && cursorKnown_)
                    fail(AVERROR_INVALIDDATA, "ExtAudioFileRead", function());
                cursor_ = start;
                cursorKnown_ = true;
            }
        }
        if (!resampler_ || frame_->format != resamplerInput_) {
            SwrContext* raw = nullptr;
            AVChannelLayout layout{};
            av_channel_layout_default(&layout, channels_);
            check(swr_alloc_set_opts2(&raw, &layout, AV_SAMPLE_FMT_FLTP, sampleRate_, &layout,
                                      static_cast<AVSampleFormat>(frame_->format), sampleRate_, 0, nullptr),
                  "ExtAudioFileSetProperty: Client Data Format", function());
            resampler_.reset(raw);
            check(swr_init(resampler_.get()), "ExtAudioFileSetProperty: Client Data Format", function());
            resamplerInput_ = frame_->format;
        }
        if (frames > pendingCapacity_) {
            pendingCapacity_ = frames;
            pending_.assign(static_cast<std::size_t>(pendingCapacity_) * static_cast<std::size_t>(channels_),
                            0.0F);
        }
        std::vector<std::uint8_t*> planes(static_cast<std::size_t>(channels_));
        for (int channel = 0; channel < channels_; ++channel)
            planes[static_cast<std::size_t>(channel)] =
                reinterpret_cast<std::uint8_t*>(const_cast<float*>(pendingPlane(channel)));
        const int converted = swr_convert(resampler_.get(), planes.data(), frames,
                                          const_cast<const std::uint8_t**>(frame_->extended_data), frames);
        check(converted, "ExtAudioFileRead", function());
        pendingFrames_ = converted;
        pendingOffset_ = 0;
        return converted > 0;
    }

    // Brings the decoder to `target` so that the next pending frame is that one: nothing to do
    // when a read continues the previous one, a short decode forward when the target is near,
    // a seek (or, without exact timestamps, a restart) otherwise.
    void moveDecoderTo(std::int64_t target) {
        if (target == cursor_) return;
        const std::int64_t nearby = sampleRate_; // one second of decoding costs less than a seek
        if (target < cursor_ || target - cursor_ > nearby) {
            if (exactTimestamps_ && target > 0) {
                seekBefore(target);
            } else {
                openDecoder();
            }
        }
        while (cursor_ < target) {
            if (pendingAvailable() == 0 && !decodeNext())
                fail(AVERROR_INVALIDDATA, "ExtAudioFileSeek", function());
            const std::int64_t skip = std::min(pendingAvailable(), target - cursor_);
            pendingOffset_ += skip;
            cursor_ += skip;
        }
        if (cursor_ != target) fail(AVERROR_BUG, "ExtAudioFileSeek", function());
    }

    // Seeks to a frame at or before `target`, stepping further back when the container lands
    // after it, and decodes the first frame there so the cursor is exact.
    void seekBefore(std::int64_t target) {
        const AVStream* stream = format_->streams[streamIndex_];
        std::int64_t aim = target;
        for (int attempt = 0; attempt < 8; ++attempt) {
            const std::int64_t timestamp = av_rescale_q(aim, AVRational{1, sampleRate_}, stream->time_base);
            const int status = av_seek_frame(format_.get(), streamIndex_, timestamp, AVSEEK_FLAG_BACKWARD);
            if (status < 0) break;
            avcodec_flush_buffers(codec_.get());
            pendingFrames_ = pendingOffset_ = 0;
            draining_ = finished_ = false;
            cursorKnown_ = false;
            cursor_ = -1;
            if (!decodeNext() || !cursorKnown_) break;
            if (cursor_ <= target) return;
            aim = std::max<std::int64_t>(0, aim - std::max<std::int64_t>(sampleRate_, cursor_ - target) * 2);
            if (aim == 0) break;
        }
        openDecoder();
    }

    // Failures while the file is being opened are reported as failures of the open.
    const char* function() const { return opening_ ? openFunction : readFunction; }

    bool opening_ = true;
    Url url_;
    std::unique_ptr<AVFormatContext, FormatContextDeleter> format_;
    std::unique_ptr<AVCodecContext, CodecContextDeleter> codec_;
    std::unique_ptr<AVPacket, PacketDeleter> packet_;
    std::unique_ptr<AVFrame, FrameDeleter> frame_;
    std::unique_ptr<SwrContext, ResamplerDeleter> resampler_;
    int resamplerInput_ = -1;
    int streamIndex_ = -1;
    int sampleRate_ = 0;
    int channels_ = 0;
    AudioFormat fileFormat_;
    AudioFormat processingFormat_;
    std::optional<std::int32_t> bitDepth_;
    LKAudioFileType fileType_ = LKAudioFileType::unsupported;
    bool exactTimestamps_ = false;

    std::int64_t length_ = 0;
    std::int64_t position_ = 0;
    // Index of the frame the decoder delivers next: the first unread pending frame.
    std::int64_t cursor_ = 0;
    bool cursorKnown_ = true;
    bool draining_ = false;
    bool finished_ = false;
    std::vector<float> pending_;
    int pendingCapacity_ = 0;
    std::int64_t pendingFrames_ = 0;
    std::int64_t pendingOffset_ = 0;
};

} // namespace

std::unique_ptr<AudioFile> openFFmpegAudioFile(const Url& url) {
    return std::make_unique<FFmpegAudioFile>(url);
}

} // namespace lorvan::platform
