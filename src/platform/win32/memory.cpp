// Pages of memory on Windows.
#include "platform/platform.h"

namespace tarn::platform {

void prepare_pages(void*, size_t) noexcept {}

} // namespace tarn::platform
