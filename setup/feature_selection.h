// Which features the user's answers turn on and off: the decision, without a session.
#pragma once

#include "frame/windows_api.h"

#include <functional>
#include <string>
#include <vector>

namespace setupactions {

struct FeatureChange {
    std::string feature;
    INSTALLSTATE state;
};

// What adding server roles to a machine makes of the roles' features, in the
// order in which they are set. isChosen(property) tells whether the user
// ticked the role of that property.
std::vector<FeatureChange>
ServerRoleChanges(const std::function<bool(const std::string&)>& isChosen);

} // namespace setupactions
