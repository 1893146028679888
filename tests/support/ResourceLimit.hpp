#pragma once

#include <sys/resource.h>

namespace melta::test {

// While it lives, the process may take no more of a resource (RLIMIT_AS, say) than this.
class ResourceLimit {
public:
    ResourceLimit(__rlimit_resource ofProcess, rlim_t most) : resource(ofProcess) {
        getrlimit(resource, &before);
        rlimit limit = before;
        limit.rlim_cur = most;
        setrlimit(resource, &limit);
    }
    ~ResourceLimit() { setrlimit(resource, &before); }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
    __rlimit_resource resource;
    rlimit before{};
};

} // namespace melta::test
