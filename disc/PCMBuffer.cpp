#include "disc/PCMBuffer.hpp"

#include "core/Checked.hpp"

namespace lorvan {

PCMBuffer::PCMBuffer(const AudioFormat& format, std::uint32_t frameCapacity)
    : format_(format)
    , frameCapacity_(frameCapacity)
    , samples_(new float[checkedMultiply(
          static_cast<std::size_t>(frameCapacity),
          static_cast<std::size_t>(format.channelsPerFrame > 0 ? format.channelsPerFrame : 0))]()) {}

} // namespace lorvan
