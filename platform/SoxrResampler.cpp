#include "platform/SoxrResampler.hpp"

#include <soxr.h>
#include <stdexcept>
#include <string>

namespace lorvan::platform {

namespace {

class SoxrResampler final : public Resampler {
public:
    explicit SoxrResampler(const ResamplerSpec& spec)
        : spec_(spec) {
        create();
    }
    ~SoxrResampler() override { soxr_delete(soxr_); }
    SoxrResampler(const SoxrResampler&) = delete;
    SoxrResampler& operator=(const SoxrResampler&) = delete;

    Progress process(const float* const* input, std::size_t inputFrames, float* const* output,
                     std::size_t outputFrames) noexcept override {
        if (inputFrames == 0) return {}; // no input means "end of stream" to soxr
        std::size_t consumed = 0;
        std::size_t produced = 0;
        // Split channels: soxr takes the arrays of plane pointers.
        const void* in = static_cast<const void*>(input);
        void* out = static_cast<void*>(const_cast<float**>(output));
        if (soxr_process(soxr_, in, inputFrames, &consumed, out, outputFrames, &produced) != nullptr)
            return {};
        return {consumed, produced};
    }

    std::size_t flush(float* const* output, std::size_t outputFrames) noexcept override {
        std::size_t produced = 0;
        void* out = static_cast<void*>(const_cast<float**>(output));
        if (soxr_process(soxr_, nullptr, 0, nullptr, out, outputFrames, &produced) != nullptr) return 0;
        return produced;
    }

    void setRatio(double inputPerOutput, std::size_t slewFrames) noexcept override {
        if (spec_.variable) (void)soxr_set_io_ratio(soxr_, inputPerOutput, slewFrames);
    }

    // Measured: at ratio 1 in variable-rate mode the output trails its input by this much.
    [[nodiscard]] double outputLag() const noexcept override { return spec_.variable ? 1.4 : 0.0; }

    void reset() override {
        if (soxr_clear(soxr_) != nullptr) {
            soxr_delete(soxr_);
            soxr_ = nullptr;
            create();
        }
        if (spec_.variable) (void)soxr_set_io_ratio(soxr_, 1.0, 0);
    }

private:
    void create() {
        soxr_error_t error = nullptr;
        const auto io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
        const auto quality = soxr_quality_spec(SOXR_HQ, spec_.variable ? SOXR_VR : 0);
        const auto runtime = soxr_runtime_spec(1);
        soxr_ = spec_.variable
                    ? soxr_create(spec_.maximumRatio, 1.0, static_cast<unsigned>(spec_.channels), &error, &io,
                                  &quality, &runtime)
                    : soxr_create(spec_.inputRate, spec_.outputRate, static_cast<unsigned>(spec_.channels),
                                  &error, &io, &quality, &runtime);
        if (error != nullptr || soxr_ == nullptr) {
            soxr_delete(soxr_);
            soxr_ = nullptr;
            throw std::runtime_error(std::string("Couldn't create the resampler: ") +
                                     (error != nullptr ? error : "unknown error"));
        }
        if (spec_.variable) (void)soxr_set_io_ratio(soxr_, 1.0, 0);
    }

    ResamplerSpec spec_;
    soxr_t soxr_ = nullptr;
};

} // namespace

ResamplerFactory soxrResamplerFactory() {
    return [](const ResamplerSpec& spec) -> std::unique_ptr<Resampler> {
        return std::make_unique<SoxrResampler>(spec);
    };
}

} // namespace lorvan::platform
