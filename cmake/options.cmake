# Compiler and linker habits shared by every target of the project.
set(MOORLAK_SANITIZE "" CACHE STRING "Sanitizers for the native build, e.g. address,undefined")
option(MOORLAK_BENCH "Build the benchmarks that compare with other libraries (native only)" OFF)
option(MOORLAK_FUZZ "Build the libFuzzer targets (clang only)" OFF)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# Line numbers are all that a sanitizer's report needs; everything else costs build time. Windows programs make no such
# report; optimised a little they are a fifth as large, which is what linking them and starting each of their processes
# costs.
if(WIN32)
  set(CMAKE_CXX_FLAGS_DEBUG "-O1")
else()
  set(CMAKE_CXX_FLAGS_DEBUG "-g1")
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# The project's own code; GoogleTest and Google Benchmark keep their own flags.
add_library(moorlak_options INTERFACE)
target_include_directories(moorlak_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(
  moorlak_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wcast-align
            -Wformat=2
            -Wundef
            -Werror
            # g++ 12 sees overlaps in "text" + std::string that cannot be there (GCC bug 105329).
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

if(MOORLAK_SANITIZE)
  add_compile_options(-fsanitize=${MOORLAK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MOORLAK_SANITIZE})
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
if(MOORLAK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WIN32)
  target_compile_definitions(
    moorlak_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN WINVER=0x0A00 _WIN32_WINNT=0x0A00
                              NTDDI_VERSION=0x0A000006)
  # Undefined behaviour traps in debug builds: the sanitizers' runtime does not exist for Windows targets here.
  target_compile_options(
    moorlak_options INTERFACE $<$<CONFIG:Debug>:-fsanitize=undefined -fsanitize-undefined-trap-on-error>
                              -ffunction-sections -fdata-sections -fstack-protector-strong)
  target_link_options(
    moorlak_options INTERFACE -static -fstack-protector-strong -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va
                              -Wl,--major-subsystem-version=10 -Wl,--minor-subsystem-version=0
                              # The same sources give the same bytes (scripts/check_reproducible.sh).
                              -Wl,--no-insert-timestamp
                              $<$<CONFIG:Release>:-s>)
endif()
