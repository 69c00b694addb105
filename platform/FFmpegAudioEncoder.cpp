#include "platform/FFmpegAudioEncoder.hpp"

#include "core/Url.hpp"
#include "disc/LKOSStatus.hpp"
#include "platform/FFmpegAudioFile.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
}

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

/// Writes every packet the encoder has ready; `function` names the caller in a failure block.
void drainPackets(Output& out, AVStream* stream, const std::optional<Url>& url, const char* function) {
    for (;;) {
        const int status = avcodec_receive_packet(out.codec, out.packet);
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return;
        if (status < 0) checkStatus(status, "ExtAudioFileWrite", url, function);
        av_packet_rescale_ts(out.packet, out.codec->time_base, stream->time_base);
        out.packet->stream_index = stream->index;
        if (const int written = av_interleaved_write_frame(out.format, out.packet); written < 0)
            checkStatus(written, "ExtAudioFileWrite", url, function);
    }
}

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
    // An MPEG-4 file states how much of an AAC stream plays (its encoder delay cut off by an
    // edit list) in the movie's time scale, milliseconds unless told otherwise: 882,017 frames
    // would read back as 882,000. At the sample rate the length is exact to the frame.
    AVDictionary* header = nullptr;
    if (std::string_view(choice.muxer) == "ipod") av_dict_set_int(&header, "movie_timescale", sampleRate, 0);
    const int written = avformat_write_header(out.format, &header);
    av_dict_free(&header);
    check(written, "ExtAudioFileCreateWithURL");

    out.frame = av_frame_alloc();
    out.packet = av_packet_alloc();
    if (out.frame == nullptr || out.packet == nullptr)
        checkStatus(AVERROR(ENOMEM), "ExtAudioFileWrite", url, writeFunction);
    const bool variableFrames = (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) != 0;
    const int frameSize = out.codec->frame_size > 0 && !variableFrames ? out.codec->frame_size : 4096;

    auto drain = [&] { drainPackets(out, stream, url, writeFunction); };

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

namespace lorvan::platform {
namespace {

constexpr const char* streamFunction = "AudioStreamWriter";

// Quantizing: the nearest step (ties to even), clipped to the format's range. Scaling by a power
// of two is exact in float, so floats decoded from integers map back to the very same integers.
// A NaN becomes the lowest step, alike on every path.
float clip(float value, float low, float high) {
    value = value > low ? value : low;
    return value < high ? value : high;
}

std::int32_t nearest(float value) {
#if defined(__SSE2__)
    return _mm_cvtss_si32(_mm_set_ss(value)); // rounds to nearest even, as nearbyint does
#else
    return static_cast<std::int32_t>(std::nearbyint(value));
#endif
}

std::int16_t sample16(float value) {
    return static_cast<std::int16_t>(nearest(clip(value * 32768.0F, -32768.0F, 32767.0F)));
}

std::int32_t sample24(float value) {
    return nearest(clip(value * 8388608.0F, -8388608.0F, 8388607.0F));
}

/// `frames` frames of `channels` planes from `offset` on, interleaved into `out` as 16-bit
/// samples. Stereo, the common case, goes four frames at a time.
void interleave16(const float* const* planes, std::size_t offset, std::size_t frames, int channels,
                  std::int16_t* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    if (channels == 2) {
        const float* left = planes[0] + offset;
        const float* right = planes[1] + offset;
        const __m128 scale = _mm_set1_ps(32768.0F);
        const __m128 low = _mm_set1_ps(-32768.0F);
        const __m128 high = _mm_set1_ps(32767.0F);
        for (; i + 4 <= frames; i += 4) {
            const __m128 l = _mm_min_ps(_mm_max_ps(_mm_mul_ps(_mm_loadu_ps(left + i), scale), low), high);
            const __m128 r = _mm_min_ps(_mm_max_ps(_mm_mul_ps(_mm_loadu_ps(right + i), scale), low), high);
            const __m128i li = _mm_cvtps_epi32(l);
            const __m128i ri = _mm_cvtps_epi32(r);
            const __m128i packed = _mm_packs_epi32(_mm_unpacklo_epi32(li, ri), _mm_unpackhi_epi32(li, ri));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), packed);
        }
    }
#endif
    for (; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            out[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                sample16(planes[c][offset + i]);
}

/// The same for 24-bit samples, each in 32 bits: in the top bits (`shift` 8, as FFmpeg's
/// encoders take them) or the low ones.
void interleave24(const float* const* planes, std::size_t offset, std::size_t frames, int channels,
                  std::int32_t* out) {
    for (std::size_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            out[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                static_cast<std::int32_t>(static_cast<std::uint32_t>(sample24(planes[c][offset + i])) << 8U);
}

void interleaveFloat(const float* const* planes, std::size_t offset, std::size_t frames, int channels,
                     float* out) {
    for (std::size_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            out[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] = planes[c][offset + i];
}

} // namespace

struct AudioStreamWriter::State {
    Output out;
    AVStream* stream = nullptr;
    std::optional<Url> url;
    int channels = 0;
    int sampleRate = 0;
    PCMSampleFormat format = PCMSampleFormat::s16;
    int frameSize = 4096;
    bool fixedFrames = false;
    // WAVE: the interleaved samples are the packets, written straight to the muxer without
    // going through an encoder that would only copy them once more.
    bool rawPackets = false;
    std::vector<std::uint8_t> packetBytes;
    std::int64_t pts = 0;
    std::int64_t written = 0;
    bool finished = false;
    // Fixed-size encoders get whole frames; the remainder waits here, planar.
    std::vector<std::vector<float>> pending;

    void check(int status, std::string_view operation) const {
        if (status < 0) checkStatus(status, operation, url, streamFunction);
    }

    void drain() { drainPackets(out, stream, url, streamFunction); }

    void writeRaw(const float* const* planes, std::size_t offset, int frames) {
        const auto count = static_cast<std::size_t>(frames);
        const auto samples = count * static_cast<std::size_t>(channels);
        switch (format) {
        case PCMSampleFormat::s16:
            packetBytes.resize(samples * 2);
            interleave16(planes, offset, count, channels,
                         reinterpret_cast<std::int16_t*>(packetBytes.data()));
            break;
        case PCMSampleFormat::s24: {
            // Three bytes a sample, little-endian, as the WAVE file holds them.
            packetBytes.resize(samples * 4);
            auto* wide = reinterpret_cast<std::int32_t*>(packetBytes.data());
            interleave24(planes, offset, count, channels, wide);
            for (std::size_t i = 0; i < samples; ++i) {
                const auto value = static_cast<std::uint32_t>(wide[i]) >> 8U;
                packetBytes[3 * i] = static_cast<std::uint8_t>(value);
                packetBytes[3 * i + 1] = static_cast<std::uint8_t>(value >> 8U);
                packetBytes[3 * i + 2] = static_cast<std::uint8_t>(value >> 16U);
            }
            packetBytes.resize(samples * 3);
            break;
        }
        case PCMSampleFormat::f32:
            packetBytes.resize(samples * 4);
            interleaveFloat(planes, offset, count, channels, reinterpret_cast<float*>(packetBytes.data()));
            break;
        }
        AVPacket* packet = out.packet;
        av_packet_unref(packet);
        packet->data = packetBytes.data();
        packet->size = static_cast<int>(packetBytes.size());
        packet->stream_index = stream->index;
        packet->pts = packet->dts = av_rescale_q(pts, AVRational{1, sampleRate}, stream->time_base);
        packet->duration = av_rescale_q(frames, AVRational{1, sampleRate}, stream->time_base);
        const int status = av_write_frame(out.format, packet);
        packet->data = nullptr;
        packet->size = 0;
        check(status, "ExtAudioFileWrite");
        pts += frames;
        written += frames;
    }

    void encode(const float* const* planes, std::size_t offset, int frames) {
        av_frame_unref(out.frame);
        out.frame->format = out.codec->sample_fmt;
        out.frame->sample_rate = sampleRate;
        check(av_channel_layout_copy(&out.frame->ch_layout, &out.codec->ch_layout), "ExtAudioFileWrite");
        out.frame->nb_samples = frames;
        check(av_frame_get_buffer(out.frame, 0), "ExtAudioFileWrite");
        // The encoders here (FLAC) take interleaved samples.
        const auto count = static_cast<std::size_t>(frames);
        switch (format) {
        case PCMSampleFormat::s16:
            interleave16(planes, offset, count, channels,
                         reinterpret_cast<std::int16_t*>(out.frame->data[0]));
            break;
        case PCMSampleFormat::s24:
            interleave24(planes, offset, count, channels,
                         reinterpret_cast<std::int32_t*>(out.frame->data[0]));
            break;
        case PCMSampleFormat::f32:
            interleaveFloat(planes, offset, count, channels, reinterpret_cast<float*>(out.frame->data[0]));
            break;
        }
        out.frame->pts = pts;
        pts += frames;
        written += frames;
        check(avcodec_send_frame(out.codec, out.frame), "ExtAudioFileWrite");
        drain();
    }

    void encodePending(bool final) {
        std::vector<const float*> pointers(static_cast<std::size_t>(channels));
        for (int c = 0; c < channels; ++c)
            pointers[static_cast<std::size_t>(c)] = pending[static_cast<std::size_t>(c)].data();
        const std::size_t available = pending.front().size();
        std::size_t offset = 0;
        while (available - offset >= static_cast<std::size_t>(frameSize) || (final && offset < available)) {
            const int frames = static_cast<int>(std::min<std::size_t>(available - offset, frameSize));
            encode(pointers.data(), offset, frames);
            offset += static_cast<std::size_t>(frames);
        }
        for (auto& plane : pending)
            plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(offset));
    }
};

AudioStreamWriter::AudioStreamWriter(const std::filesystem::path& path, AudioFileEncoding encoding,
                                     int sampleRate, int channels, PCMSampleFormat format)
    : state_(std::make_unique<State>()) {
    installFFmpegStatusDescriptions();
    State& s = *state_;
    s.url = Url::fileURL(path);
    s.channels = channels;
    s.sampleRate = sampleRate;
    s.format = format;
    if (encoding != AudioFileEncoding::wave && encoding != AudioFileEncoding::flac)
        throw std::invalid_argument("only WAVE and FLAC files can be written");
    if (encoding == AudioFileEncoding::flac && format == PCMSampleFormat::f32)
        throw std::invalid_argument("FLAC holds integer samples only; use s16 or s24");
    if (channels <= 0 || sampleRate <= 0)
        checkStatus(AVERROR(EINVAL), "ExtAudioFileCreateWithURL", s.url, streamFunction);

    AVCodecID codecID = AV_CODEC_ID_FLAC;
    AVSampleFormat sampleFormat = format == PCMSampleFormat::s16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
    if (encoding == AudioFileEncoding::wave) {
        codecID = format == PCMSampleFormat::s16   ? AV_CODEC_ID_PCM_S16LE
                  : format == PCMSampleFormat::s24 ? AV_CODEC_ID_PCM_S24LE
                                                   : AV_CODEC_ID_PCM_F32LE;
        if (format == PCMSampleFormat::f32) sampleFormat = AV_SAMPLE_FMT_FLT;
    }
    const std::string pathText = path.string();
    s.check(avformat_alloc_output_context2(&s.out.format, nullptr,
                                           encoding == AudioFileEncoding::wave ? "wav" : "flac",
                                           pathText.c_str()),
            "ExtAudioFileCreateWithURL");
    const AVCodec* codec = avcodec_find_encoder(codecID);
    if (codec == nullptr)
        checkStatus(AVERROR_ENCODER_NOT_FOUND, "ExtAudioFileCreateWithURL", s.url, streamFunction);
    s.stream = avformat_new_stream(s.out.format, nullptr);
    s.out.codec = avcodec_alloc_context3(codec);
    if (s.stream == nullptr || s.out.codec == nullptr)
        checkStatus(AVERROR(ENOMEM), "ExtAudioFileCreateWithURL", s.url, streamFunction);
    s.out.codec->sample_rate = sampleRate;
    av_channel_layout_default(&s.out.codec->ch_layout, channels);
    s.out.codec->sample_fmt = sampleFormat;
    s.out.codec->bits_per_raw_sample = format == PCMSampleFormat::s16   ? 16
                                       : format == PCMSampleFormat::s24 ? 24
                                                                        : 32;
    s.out.codec->time_base = AVRational{1, sampleRate};
    if (s.out.format->oformat->flags & AVFMT_GLOBALHEADER) s.out.codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    s.check(avcodec_open2(s.out.codec, codec, nullptr), "ExtAudioFileCreateWithURL");
    s.check(avcodec_parameters_from_context(s.stream->codecpar, s.out.codec),
            "ExtAudioFileSetProperty: Data Format");
    s.stream->time_base = s.out.codec->time_base;
    s.check(avio_open(&s.out.format->pb, pathText.c_str(), AVIO_FLAG_WRITE), "ExtAudioFileCreateWithURL");
    s.out.opened = true;
    s.check(avformat_write_header(s.out.format, nullptr), "ExtAudioFileCreateWithURL");
    s.out.frame = av_frame_alloc();
    s.out.packet = av_packet_alloc();
    if (s.out.frame == nullptr || s.out.packet == nullptr)
        checkStatus(AVERROR(ENOMEM), "ExtAudioFileWrite", s.url, streamFunction);
    const bool variable = (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) != 0;
    s.fixedFrames = s.out.codec->frame_size > 0 && !variable;
    s.rawPackets = encoding == AudioFileEncoding::wave;
    s.frameSize = s.fixedFrames ? s.out.codec->frame_size : 4096;
    s.pending.resize(static_cast<std::size_t>(channels));
}

AudioStreamWriter::~AudioStreamWriter() = default;

void AudioStreamWriter::write(const float* const* planes, int channels, std::uint32_t frames) {
    State& s = *state_;
    if (s.finished) throw std::logic_error("AudioStreamWriter: write after finish");
    if (channels != s.channels) throw std::invalid_argument("AudioStreamWriter: wrong channel count");
    if (frames == 0) return;
    if (s.rawPackets || !s.fixedFrames) {
        // Bounded packets, whatever the caller hands over at once.
        const std::uint32_t most = s.rawPackets ? 65536U : 4096U;
        for (std::uint32_t offset = 0; offset < frames;) {
            const auto count = static_cast<int>(std::min<std::uint32_t>(frames - offset, most));
            if (s.rawPackets)
                s.writeRaw(planes, offset, count);
            else
                s.encode(planes, offset, count);
            offset += static_cast<std::uint32_t>(count);
        }
        return;
    }
    for (int c = 0; c < channels; ++c)
        s.pending[static_cast<std::size_t>(c)].insert(s.pending[static_cast<std::size_t>(c)].end(), planes[c],
                                                      planes[c] + frames);
    s.encodePending(false);
}

void AudioStreamWriter::finish() {
    State& s = *state_;
    if (s.finished) return;
    s.finished = true;
    if (!s.rawPackets) {
        if (s.fixedFrames) s.encodePending(true);
        s.check(avcodec_send_frame(s.out.codec, nullptr), "ExtAudioFileWrite");
        s.drain();
    }
    s.check(av_write_trailer(s.out.format), "ExtAudioFileWrite");
}

std::int64_t AudioStreamWriter::framesWritten() const {
    return state_->written;
}

} // namespace lorvan::platform
