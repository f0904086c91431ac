#pragma once

#include <cstddef>

#include <libxml/tree.h>

namespace velm::token {

/**
 * Throws kSafNotSupported if `passes` canonicalizations of a document could take longer than about a second.
 * `signed_info` lists the prefixes of exclusive canonicalizations.
 */
void require_bounded_work(const xmlDoc* document, const xmlNode* signed_info, size_t passes);

}  // namespace velm::token
