#include "melta/Version.hpp"

#include "config/Version.hpp"

namespace melta {

const char* version() {
    return versionText;
}

} // namespace melta
