# VEK5_SANITIZE selects an instrumented build:
#   -DVEK5_SANITIZE=address   AddressSanitizer + UndefinedBehaviorSanitizer
#   -DVEK5_SANITIZE=thread    ThreadSanitizer
set(VEK5_SANITIZE "" CACHE STRING "Sanitizer build: empty, address or thread")
if(VEK5_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(VEK5_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT VEK5_SANITIZE STREQUAL "")
  message(FATAL_ERROR "VEK5_SANITIZE must be empty, address or thread")
endif()
