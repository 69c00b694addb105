#pragma once

// FFmpeg, reached through its libraries loaded at first use rather than linked.
//
// Debian's FFmpeg pulls in over a hundred other libraries (every codec it is built with); linked
// to the executables, loading them cost about 60 ms of every start before main ran. Loaded
// here instead, they cost that once, on the thread that first reads or writes an audio file:
// the window's start assembles its disc on a thread of its own while the window is built.
//
// Only this header and FFmpegLibrary.cpp know how the functions are reached. The decoder and
// the encoder call them as `ffmpeg::name(...)`; a call to FFmpeg's own declaration instead does
// not link, as no FFmpeg library is linked.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
}

#include <utility>

namespace lorvan::platform::ffmpeg {

// Every FFmpeg function Lorvan calls: libavformat's, libavcodec's, libavutil's, libswresample's.
// clang-format off
#define LORVAN_FFMPEG_FUNCTIONS(X) \
    X(av_find_best_stream) X(av_interleaved_write_frame) X(av_read_frame) X(av_seek_frame) \
    X(av_write_frame) X(av_write_trailer) X(avformat_alloc_output_context2) X(avformat_close_input) \
    X(avformat_find_stream_info) X(avformat_free_context) X(avformat_new_stream) \
    X(avformat_open_input) X(avformat_write_header) X(avio_closep) X(avio_open) \
    X(av_get_bits_per_sample) X(av_packet_alloc) X(av_packet_free) X(av_packet_rescale_ts) \
    X(av_packet_unref) X(avcodec_alloc_context3) X(avcodec_descriptor_get) X(avcodec_find_encoder) \
    X(avcodec_flush_buffers) X(avcodec_free_context) X(avcodec_get_name) X(avcodec_open2) \
    X(avcodec_parameters_from_context) X(avcodec_parameters_to_context) X(avcodec_receive_frame) \
    X(avcodec_receive_packet) X(avcodec_send_frame) X(avcodec_send_packet) \
    X(av_channel_layout_copy) X(av_channel_layout_default) X(av_dict_free) X(av_dict_set) \
    X(av_dict_set_int) X(av_frame_alloc) X(av_frame_free) X(av_frame_get_buffer) X(av_frame_unref) \
    X(av_log_set_level) X(av_max_alloc) X(av_rescale_q) X(av_sample_fmt_is_planar) \
    X(av_samples_set_silence) X(av_strerror) \
    X(swr_alloc_set_opts2) X(swr_convert) X(swr_free) X(swr_init)
// clang-format on

struct Functions {
#define LORVAN_FFMPEG_POINTER(name) decltype(&::name) name = nullptr;
    LORVAN_FFMPEG_FUNCTIONS(LORVAN_FFMPEG_POINTER)
#undef LORVAN_FFMPEG_POINTER
};

/// Loads the libraries on the first call, from whichever thread makes it (a concurrent caller
/// waits for it), and sets FFmpeg up for Lorvan: its log silenced, one allocation bounded, its
/// texts for `LKOSStatus`. Returns 0, or AVERROR(ENOSYS) when a library or one of the functions
/// is missing, after one console warning saying which. Cheap after the first call.
[[nodiscard]] int load();

/// The functions. Only for use after `load()` returned 0: a call without them stops the process.
[[nodiscard]] const Functions& functions();

#define LORVAN_FFMPEG_FORWARD(name)                                                                          \
    template <typename... Arguments> decltype(auto) name(Arguments&&... arguments) {                         \
        return functions().name(std::forward<Arguments>(arguments)...);                                      \
    }
LORVAN_FFMPEG_FUNCTIONS(LORVAN_FFMPEG_FORWARD)
#undef LORVAN_FFMPEG_FORWARD

} // namespace lorvan::platform::ffmpeg
