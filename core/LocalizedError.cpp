#include "core/LocalizedError.hpp"

#include "core/LogEntry.hpp"

namespace lorvan {

void LocalizedError::log() const {
    LogEntry::error(*this).print();
}

} // namespace lorvan
