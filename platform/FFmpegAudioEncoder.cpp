#include "platform/FFmpegAudioEncoder.hpp"

#include "core/Url.hpp"
#include "disc/LKOSStatus.hpp"
#include "platform/FFmpegAudioFile.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <memory>
#include <vector>

namespace lorvan::platform {
namespace {

constexpr const char* writeFunction = "writeAudioFile(_:)";

struct Output {
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    bool opened = false;
    ~Output() {
        av_packet_free(&packet);
        av_frame_free(&frame);
        avcodec_free_context(&codec);
        if (format != nullptr) {
            if (opened) avio_closep(&format->pb);
            avformat_free_context(format);
        }
    }
};

struct Choice {
    const char* muxer;
    AVCodecID codec;
};

Choice choiceFor(AudioFileEncoding encoding, int bits) {
    switch (encoding) {
    case AudioFileEncoding::wave:
        return {"wav", bits == 24 ? AV_CODEC_ID_PCM_S24LE : AV_CODEC_ID_PCM_S16LE};
    case AudioFileEncoding::aiff:
        return {"aiff", bits == 24 ? AV_CODEC_ID_PCM_S24BE : AV_CODEC_ID_PCM_S16BE};
    case AudioFileEncoding::flac:
        return {"flac", AV_CODEC_ID_FLAC};
    case AudioFileEncoding::alac:
        return {"ipod", AV_CODEC_ID_ALAC};
    case AudioFileEncoding::aac:
        return {"ipod", AV_CODEC_ID_AAC};
    case AudioFileEncoding::mp3:
        return {"mp3", AV_CODEC_ID_MP3};
    }
    return {"wav", AV_CODEC_ID_PCM_S16LE};
}

AVSampleFormat pickSampleFormat(const AVCodec* codec, int bits) {
    const AVSampleFormat* formats = codec->sample_fmts;
    const AVSampleFormat preferred[] = {bits > 16 ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S16,
                                        bits > 16 ? AV_SAMPLE_FMT_S32P : AV_SAMPLE_FMT_S16P,
                                        AV_SAMPLE_FMT_FLTP,
                                        AV_SAMPLE_FMT_FLT,
                                        AV_SAMPLE_FMT_S16P,
                                        AV_SAMPLE_FMT_S16};
    if (formats == nullptr) return preferred[0];
    for (AVSampleFormat wanted : preferred)
        for (const AVSampleFormat* f = formats; *f != AV_SAMPLE_FMT_NONE; ++f)
            if (*f == wanted) return wanted;
    return formats[0];
}

void fillFrame(AVFrame* frame, std::span<const std::int32_t> interleaved, std::size_t firstFrame, int frames,
               int channels, int bits) {
    const auto format = static_cast<AVSampleFormat>(frame->format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const double scale = 1.0 / static_cast<double>(1 << (bits - 1));
    // 24-bit samples travel in the top bits of 32-bit words, as FFmpeg expects.
    const int shift = 32 - bits;
    for (int i = 0; i < frames; ++i) {
        for (int c = 0; c < channels; ++c) {
            const std::int32_t sample =
                interleaved[(firstFrame + static_cast<std::size_t>(i)) * static_cast<std::size_t>(channels) +
                            static_cast<std::size_t>(c)];
            const int plane = planar ? c : 0;
            const int index = planar ? i : i * channels + c;
            switch (format) {
            case AV_SAMPLE_FMT_S16:
            case AV_SAMPLE_FMT_S16P:
                reinterpret_cast<std::int16_t*>(frame->extended_data[plane])[index] =
                    static_cast<std::int16_t>(sample);
                break;
            case AV_SAMPLE_FMT_S32:
            case AV_SAMPLE_FMT_S32P:
                reinterpret_cast<std::int32_t*>(frame->extended_data[plane])[index] =
                    static_cast<std::int32_t>(static_cast<std::uint32_t>(sample) << shift);
                break;
            default:
                reinterpret_cast<float*>(frame->extended_data[plane])[index] =
                    static_cast<float>(static_cast<double>(sample) * scale);
                break;
            }
        }
    }
}

} // namespace

void writeAudioFile(const std::filesystem::path& path, AudioFileEncoding encoding, int sampleRate,
                    int channels, int bitsPerSample, std::span<const std::int32_t> interleaved,
                    const std::map<std::string, std::string>& tags) {
    const auto perFrame = static_cast<std::size_t>(channels > 0 ? channels : 1);
    writeAudioFile(
        path, encoding, sampleRate, channels, bitsPerSample,
        static_cast<std::int64_t>(interleaved.size() / perFrame),
        [&](std::int64_t first, std::span<std::int32_t> out) {
            std::copy_n(interleaved.begin() +
                            static_cast<std::ptrdiff_t>(first * static_cast<std::int64_t>(perFrame)),
                        out.size(), out.begin());
        },
        tags);
}

void writeAudioFile(const std::filesystem::path& path, AudioFileEncoding encoding, int sampleRate,
                    int channels, int bitsPerSample, std::int64_t frameCount, const SampleProducer& produce,
                    const std::map<std::string, std::string>& tags) {
    installFFmpegStatusDescriptions();
    const std::optional<Url> url = Url::fileURL(path);
    auto check = [&](int status, std::string_view operation) {
        if (status < 0) checkStatus(status, operation, url, writeFunction);
    };
    if (channels <= 0 || sampleRate <= 0 || (bitsPerSample != 16 && bitsPerSample != 24))
        checkStatus(AVERROR(EINVAL), "ExtAudioFileCreateWithURL", url, writeFunction);

    const Choice choice = choiceFor(encoding, bitsPerSample);
    Output out;
    const std::string pathText = path.string();
    check(avformat_alloc_output_context2(&out.format, nullptr, choice.muxer, pathText.c_str()),
          "ExtAudioFileCreateWithURL");
    const AVCodec* codec = avcodec_find_encoder(choice.codec);
    if (codec == nullptr)
        checkStatus(AVERROR_ENCODER_NOT_FOUND, "ExtAudioFileCreateWithURL", url, writeFunction);
    AVStream* stream = avformat_new_stream(out.format, nullptr);
    out.codec = avcodec_alloc_context3(codec);
    if (stream == nullptr || out.codec == nullptr)
        checkStatus(AVERROR(ENOMEM), "ExtAudioFileCreateWithURL", url, writeFunction);
    out.codec->sample_rate = sampleRate;
    av_channel_layout_default(&out.codec->ch_layout, channels);
    out.codec->sample_fmt = pickSampleFormat(codec, bitsPerSample);
    out.codec->bits_per_raw_sample = bitsPerSample;
    out.codec->time_base = AVRational{1, sampleRate};
    if (encoding == AudioFileEncoding::aac || encoding == AudioFileEncoding::mp3)
        out.codec->bit_rate = 192000;
    if (out.format->oformat->flags & AVFMT_GLOBALHEADER) out.codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(out.codec, codec, nullptr), "ExtAudioFileCreateWithURL");
    check(avcodec_parameters_from_context(stream->codecpar, out.codec),
          "ExtAudioFileSetProperty: Data Format");
    stream->time_base = out.codec->time_base;
    for (const auto& [key, value] : tags)
        av_dict_set(&out.format->metadata, key.c_str(), value.c_str(), 0);

    check(avio_open(&out.format->pb, pathText.c_str(), AVIO_FLAG_WRITE), "ExtAudioFileCreateWithURL");
    out.opened = true;
    check(avformat_write_header(out.format, nullptr), "ExtAudioFileCreateWithURL");

    out.frame = av_frame_alloc();
    out.packet = av_packet_alloc();
    if (out.frame == nullptr || out.packet == nullptr)
        checkStatus(AVERROR(ENOMEM), "ExtAudioFileWrite", url, writeFunction);
    const bool variableFrames = (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) != 0;
    const int frameSize = out.codec->frame_size > 0 && !variableFrames ? out.codec->frame_size : 4096;

    auto drain = [&] {
        for (;;) {
            const int status = avcodec_receive_packet(out.codec, out.packet);
            if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return;
            check(status, "ExtAudioFileWrite");
            av_packet_rescale_ts(out.packet, out.codec->time_base, stream->time_base);
            out.packet->stream_index = stream->index;
            check(av_interleaved_write_frame(out.format, out.packet), "ExtAudioFileWrite");
        }
    };

    const auto totalFrames = static_cast<std::size_t>(frameCount > 0 ? frameCount : 0);
    std::vector<std::int32_t> chunk;
    std::int64_t pts = 0;
    for (std::size_t first = 0; first < totalFrames; first += static_cast<std::size_t>(frameSize)) {
        const int frames =
            static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(frameSize), totalFrames - first));
        av_frame_unref(out.frame);
        out.frame->format = out.codec->sample_fmt;
        out.frame->sample_rate = sampleRate;
        check(av_channel_layout_copy(&out.frame->ch_layout, &out.codec->ch_layout), "ExtAudioFileWrite");
        // Fixed-size encoders take a short final frame only when they say so; otherwise the
        // frame is padded with silence and the container's trimming is left to the encoder.
        const bool shortAllowed = variableFrames || (codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME) ||
                                  out.codec->frame_size == 0;
        out.frame->nb_samples = shortAllowed ? frames : frameSize;
        check(av_frame_get_buffer(out.frame, 0), "ExtAudioFileWrite");
        av_samples_set_silence(out.frame->extended_data, 0, out.frame->nb_samples, channels,
                               static_cast<AVSampleFormat>(out.frame->format));
        chunk.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels));
        produce(static_cast<std::int64_t>(first), chunk);
        fillFrame(out.frame, chunk, 0, frames, channels, bitsPerSample);
        out.frame->pts = pts;
        pts += frames;
        check(avcodec_send_frame(out.codec, out.frame), "ExtAudioFileWrite");
        drain();
    }
    check(avcodec_send_frame(out.codec, nullptr), "ExtAudioFileWrite");
    drain();
    check(av_write_trailer(out.format), "ExtAudioFileWrite");
}

} // namespace lorvan::platform
