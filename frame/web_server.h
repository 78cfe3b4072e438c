// The machine's web server, according to the registry.
#pragma once

namespace setupactions {

// True when the web service is registered and its major version is 4 or more.
bool IsWebServerInstalled();

} // namespace setupactions
