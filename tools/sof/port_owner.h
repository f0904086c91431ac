#pragma once

#include <cstdint>
#include <vector>

#include "finding.h"
#include "permissions/account.h"

/** The process that listens on a port of the local machine. */
struct PortOwner {
  /** 0 if unknown. */
  uint32_t process_id = 0;
  /** Path of the program, or only its name if the current user may not know the path. Empty if unknown. */
  std::string program;
  /** Empty if unknown: on Windows, other users' processes do not tell it. */
  velm::permissions::Sid user;
};

/** Processes that accept connections to 127.0.0.1 on the port. Usually there is one at most. */
std::vector<PortOwner> owners_of_port(uint16_t port);

/** Warns if the process is or may be another user's, because it receives every PIN. */
Finding finding_on(const PortOwner& owner, const velm::permissions::Sid& current_user);
