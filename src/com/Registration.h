#pragma once

namespace tsasync::com {

// Write and remove what a host needs to find the class by its identifiers: class identifier, programmatic
// identifier, path of this module, threading model. Removing what is not there succeeds. False when the store
// refuses.
bool RegisterClass();
bool UnregisterClass();

}  // namespace tsasync::com
