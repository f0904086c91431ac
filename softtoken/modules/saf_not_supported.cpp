#include "softtoken/modules/saf_codes.h"

/** Stands, in the export table, behind every function that the module does not offer. */
extern "C" uint32_t saf_not_supported() { return kSafNotSupported; }
