#pragma once

namespace tsasync::modInIDE {

// Whether the component runs inside the development environment; False in every installation. Tells the user
// with a message box, and answers False, when the thread has loaded no form yet.
bool InIDE();

}  // namespace tsasync::modInIDE
