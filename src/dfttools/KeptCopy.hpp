#pragma once

#include <string>

namespace melta {

// Keeps what a file says under another name before something else replaces the file: "NAME.kept", or
// "NAME.kept.2", "NAME.kept.3" and so on where that name is taken. No older copy is touched, and a copy with
// the same bytes is not made again. Links are followed.
//
// Returns the name of the copy; empty where there is nothing to lose: no such file, an empty one, or what is
// no regular file. Stops with "cannot open file: %s", "cannot read file: %s", "cannot write file: %s".
[[nodiscard]] std::string keepCopy(const std::string& fileName);

} // namespace melta
