// Address, paths and content types of the local service.
#pragma once

#include <cstdint>

namespace velm::protocol {

inline constexpr char kServiceHost[] = "127.0.0.1";
inline constexpr uint16_t kServicePort = 55661;
inline constexpr char kServiceUrl[] = "http://127.0.0.1:55661";

// Functions for all clients accept any path that is not listed here; clients use "/".
inline constexpr char kApplicationPath[] = "/";
inline constexpr char kModulePath[] = "/token";   // functions for provider modules
inline constexpr char kTimeStampPath[] = "/tsa";  // time-stamp requests (RFC 3161 section 3.4)
inline constexpr char kTracePath[] = "/trace";    // GET: the last calls

inline constexpr char kJsonType[] = "application/json";
inline constexpr char kFrameType[] = "application/octet-stream";
inline constexpr char kTimeStampQueryType[] = "application/timestamp-query";
inline constexpr char kTimeStampReplyType[] = "application/timestamp-reply";

// Member of a JSON request that contains the function number.
inline constexpr char kFunctionMember[] = "funcid";

}  // namespace velm::protocol
