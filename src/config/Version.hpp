#pragma once

namespace melta {

inline constexpr const char* versionText = "1.9.2";

} // namespace melta
