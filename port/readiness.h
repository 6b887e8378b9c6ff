#pragma once

namespace sonic::port {

/// Tells the service manager that started this program, if one did, that the port is there. What
/// needs the port is started behind that.
void tell_ready();

}  // namespace sonic::port
