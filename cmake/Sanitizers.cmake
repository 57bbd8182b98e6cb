# VEK5_SANITIZE selects an instrumented build:
#   -DVEK5_SANITIZE=address   AddressSanitizer + UndefinedBehaviorSanitizer
#   -DVEK5_SANITIZE=thread    ThreadSanitizer
# VEK5_FUZZ=ON (clang only) instruments everything for libFuzzer, with
# AddressSanitizer + UndefinedBehaviorSanitizer, and adds the fuzz targets.
set(VEK5_SANITIZE "" CACHE STRING "Sanitizer build: empty, address or thread")
option(VEK5_FUZZ "Build the libFuzzer targets (clang)" OFF)

if(VEK5_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VEK5_FUZZ needs clang: configure with CC=clang CXX=clang++")
  endif()
  if(NOT VEK5_SANITIZE STREQUAL "")
    message(FATAL_ERROR "VEK5_FUZZ brings its own sanitizers; leave VEK5_SANITIZE empty")
  endif()
  # Coverage feedback in every library; only the fuzz executables link the
  # fuzzer's main.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
  # The collector's release(vek5Client*) sits beside the interface's own
  # release by design; clang's -Wall would flag it in every file.
  add_compile_options(-Wno-overloaded-virtual)
elseif(VEK5_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(VEK5_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT VEK5_SANITIZE STREQUAL "")
  message(FATAL_ERROR "VEK5_SANITIZE must be empty, address or thread")
endif()
