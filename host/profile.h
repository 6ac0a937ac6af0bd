// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_base.h"

namespace quorvel::host {

enum class Application { AfterEffects, PremierePro };

/// The application to emulate, and the effect API version that it reports. Premiere Pro has reported 13.4 for years.
struct Profile {
    Application application = Application::AfterEffects;
    PF_SpecVersion apiVersion{13, 27};

    static constexpr Profile afterEffects() { return {}; }
    static constexpr Profile afterEffects(A_short major, A_short minor) {
        return {Application::AfterEffects, {major, minor}};
    }
    static constexpr Profile premierePro(A_short major = 13, A_short minor = 4) {
        return {Application::PremierePro, {major, minor}};
    }
};

}  // namespace quorvel::host
