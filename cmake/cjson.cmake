# cJSON, linked statically into the targets that use it.
add_library(velm_cjson STATIC ${VELM_CJSON_SOURCE}/cJSON.c)
target_include_directories(velm_cjson SYSTEM PUBLIC ${VELM_CJSON_SOURCE})
target_compile_definitions(velm_cjson PUBLIC CJSON_HIDE_SYMBOLS)
target_compile_options(velm_cjson PRIVATE -fstack-protector-strong -ffile-prefix-map=${VELM_CJSON_SOURCE}/=)
