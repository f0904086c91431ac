#pragma once

#include <nlohmann/json_fwd.hpp>

namespace velm::token {

nlohmann::json get_version(const nlohmann::json& request);
nlohmann::json gen_random(const nlohmann::json& request);
/** Initialize and Finalize: an application announces itself and leaves; the token keeps no state for it. */
nlohmann::json greet(const nlohmann::json& request);

}  // namespace velm::token
