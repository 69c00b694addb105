#include "app/identity/Identity.hpp"

// The only file that sees the generated header, so a new version recompiles this file alone.
#include "LorvanVersion.hpp"

namespace lorvan::identity {

std::string_view version() noexcept {
    return LORVAN_BUILD_VERSION;
}

} // namespace lorvan::identity
