// Development tools and clients of databases and mail: is each on the machine?
#pragma once

#include <vector>

namespace setupactions {

// One product: the flag property that tells of it, and the probe that finds it.
struct ClientSoftware {
    const char* property;
    bool (*isPresent)();
};

// All products, in the order in which their flags are set.
const std::vector<ClientSoftware>& AllClientSoftware();

} // namespace setupactions
