# nlohmann/json for tests and the lab, never for the product. It consists of headers, but their folder holds the host's
# C library too, so a folder of its own holds a link to just these.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/nlohmann/include)
file(CREATE_LINK /usr/include/nlohmann ${CMAKE_BINARY_DIR}/nlohmann/include/nlohmann SYMBOLIC)
add_library(moorlak_nlohmann INTERFACE)
target_include_directories(moorlak_nlohmann SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/nlohmann/include)
