#include "playback/GraphAudioEngine.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace lorvan {

GraphAudioEngine::GraphAudioEngine(std::unique_ptr<AudioOutput> output, ResamplerFactory resamplers)
    : output_(std::move(output))
    , resamplerFactory_(std::move(resamplers))
    , node_([this] {
        varispeed_.recycle();
        converters_.recycle();
    }) {
    if (!output_) throw std::invalid_argument("GraphAudioEngine needs an output");
}

GraphAudioEngine::~GraphAudioEngine() {
    output_->stop();
    node_.stop();
}

void GraphAudioEngine::connect(const AudioFormat& format) {
    if (format.channelsPerFrame <= 0 || format.channelsPerFrame > graph::maximumChannels ||
        format.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "Unsupported processing format");
    const bool wasRunning = running_;
    stop();
    const auto configuration = output_->configure(format.sampleRate, format.channelsPerFrame);
    if (configuration.channels <= 0 || configuration.channels > graph::maximumChannels ||
        configuration.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable, "The output has no usable format");

    discChannels_ = format.channelsPerFrame;
    outChannels_ = configuration.channels;
    mixScratch_.allocate(discChannels_, maximumBlock);
    convertInput_.allocate(outChannels_, maximumBlock);
    speed_.connect(discChannels_, format.sampleRate, resamplerFactory_);
    converting_ = configuration.sampleRate != format.sampleRate;
    if (converting_ && !resamplerFactory_)
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable,
                               "The output cannot run at the disc's sample rate");
    graph::Planes warmUpOutput;
    warmUpOutput.allocate(outChannels_, maximumBlock);
    converters_.replace(converting_ ? resamplerFactory_ : ResamplerFactory{},
                        {outChannels_, format.sampleRate, configuration.sampleRate, false, 1.0},
                        [&](Resampler& converter) {
                            (void)converter.process(convertInput_.data(), graph::resamplerChunk,
                                                    warmUpOutput.data(), maximumBlock);
                        });
    converter_ = converters_.acquire();
    if (converting_ && converter_ == nullptr)
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable,
                               "No converter to the output's rate");
    converterFlush_ = node_.flushGeneration();
    convertOffset_ = convertFrames_ = 0;
    format_ = format;
    configuration_ = configuration;
    if (wasRunning) start();
}

void GraphAudioEngine::start() {
    if (!format_)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "Connect the engine before starting it");
    if (running_) return;
    output_->start(*this);
    running_ = true;
}

void GraphAudioEngine::stop() {
    if (!running_) return;
    output_->stop();
    running_ = false;
}

std::uint32_t GraphAudioEngine::render(float* const* planes, std::uint32_t frames,
                                       bool padWithSilence) noexcept {
    if (!format_) {
        if (padWithSilence) graph::zero(planes, outChannels_, 0, frames);
        return padWithSilence ? frames : 0;
    }
    std::uint32_t done = 0;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, maximumBlock);
        const graph::Shifted at(planes, outChannels_, done);
        const std::uint32_t rendered = renderBlock(at.data(), block, padWithSilence);
        done += rendered;
        if (rendered < block) break;
    }
    return done;
}

std::uint32_t GraphAudioEngine::drain(float* const* planes, std::uint32_t frames) noexcept {
    speed_.setDraining(true);
    const auto rendered = render(planes, frames, false);
    speed_.setDraining(false);
    return rendered;
}

void GraphAudioEngine::discardConvertedAudio() noexcept {
    convertFrames_ = 0;
    // The converter's filter still holds some 20 ms of the discarded audio: take the clean one.
    if (Resampler* clean = converters_.acquire()) {
        converters_.release(converter_);
        converter_ = clean;
        node_.requestHousekeeping();
    }
}

std::uint32_t GraphAudioEngine::renderBlock(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    if (!converting_) return pullMixer(planes, frames, pad);
    if (const auto flush = node_.flushGeneration(); flush != converterFlush_) {
        converterFlush_ = flush;
        discardConvertedAudio();
    }
    std::uint32_t produced = 0;
    int stalls = 0;
    while (produced < frames) {
        if (convertFrames_ == 0) {
            convertOffset_ = 0;
            convertFrames_ = pullMixer(convertInput_.data(), graph::resamplerChunk, pad);
            if (convertFrames_ == 0) break;
        }
        const graph::Shifted from(convertInput_.data(), outChannels_, convertOffset_);
        const graph::Shifted to(planes, outChannels_, produced);
        const auto feed = graph::inputFor(frames - produced, format_->sampleRate / configuration_->sampleRate,
                                          convertFrames_);
        const auto progress = converter_->process(from.data(), feed, to.data(), frames - produced);
        convertOffset_ += static_cast<std::uint32_t>(progress.consumed);
        convertFrames_ -= static_cast<std::uint32_t>(progress.consumed);
        produced += static_cast<std::uint32_t>(progress.produced);
        if (progress.consumed == 0 && progress.produced == 0 && ++stalls > 4) break;
    }
    if (pad && produced < frames) graph::zero(planes, outChannels_, produced, frames - produced);
    return pad ? frames : produced;
}

std::uint32_t GraphAudioEngine::pullMixer(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    if (discChannels_ == outChannels_) return speed_.pull(planes, frames, pad);
    const auto rendered = speed_.pull(mixScratch_.data(), frames, pad);
    for (int channel = 0; channel < outChannels_; ++channel) {
        // A mono disc plays on every speaker; otherwise each speaker gets its own channel.
        const int source = discChannels_ == 1 ? 0 : channel;
        if (source < discChannels_) {
            std::memcpy(planes[channel], mixScratch_.pointers[static_cast<std::size_t>(source)],
                        rendered * sizeof(float));
        } else {
            std::memset(planes[channel], 0, rendered * sizeof(float));
        }
    }
    return rendered;
}

} // namespace lorvan
