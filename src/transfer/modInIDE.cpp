#include "transfer/modInIDE.h"

#include "platform/forms.h"
#include "transfer/frmAsyncT.h"

namespace tsasync::modInIDE {

bool InIDE() {
    if (!frmAsyncT::IsLoaded()) {
        platform::ShowErrorMessage(u"This routine cannot be called if no forms are loaded.", u"Error");
        return false;
    }
    return platform::WindowClassInstance(u"ThunderMain") == platform::ComponentInstance();
}

}  // namespace tsasync::modInIDE
