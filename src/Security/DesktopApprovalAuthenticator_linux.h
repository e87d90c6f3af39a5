#pragma once

#include "Security/BiometricContextCreating.h"

namespace kestrelle {

// The Linux desktop's approvals, on the system bus: the fingerprint reader through fprintd, with
// the app's own small prompt; or, where no reader has an enrolled finger, the account password
// that the desktop's polkit agent asks for (the action app.kestrelle.Kestrelle.approve, whose
// policy packaging/linux ships), so that the app never sees the password. Needs the Qt
// application; replies and signals arrive on the main thread.
//
// Its contexts have no native session (`authenticationContext()` is none): the Secret Service
// does not bind items to an approval, so the app's own approval gates every use.
class DesktopApprovalAuthenticator final : public BiometricContextCreating {
public:
    std::shared_ptr<BiometricContext> makeContext() override;
};

} // namespace kestrelle
