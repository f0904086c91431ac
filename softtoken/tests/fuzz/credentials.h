#pragma once

#include "softtoken/store/token.h"

namespace velm::token::fuzz {

/** The fixed keys and certificates of the folder credentials/: seeds and findings hold for them in every run.
 */
Credential sm2_credential();
Credential rsa_credential();

}  // namespace velm::token::fuzz
