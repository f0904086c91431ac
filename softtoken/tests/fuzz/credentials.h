#pragma once

#include "softtoken/store/token.h"

namespace velm::token::fuzz {

/** Fixed keys and certificates from the folder credentials/, so that seeds and findings stay reproducible. */
Credential sm2_credential();
Credential rsa_credential();

}  // namespace velm::token::fuzz
