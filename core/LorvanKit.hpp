#pragma once

namespace lorvan {

// Namespaces only: they hold nothing that the rest of the system reads. Main thread.
class LorvanKitConstants {};
class LorvanKitParameters {};

} // namespace lorvan
