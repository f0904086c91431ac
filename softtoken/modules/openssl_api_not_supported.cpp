#include "softtoken/modules/openssl_api_codes.h"

/** Stands, in the export table, behind every function that the module does not offer. */
extern "C" int32_t openssl_api_not_supported() { return kApiNotSupported; }
