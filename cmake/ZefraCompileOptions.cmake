# Floating-point discipline shared by every target of the project.
# Results are specified to the bit, so the compiler must neither fuse a
# multiply and an add into one rounding (FMA contraction) nor apply any
# value-changing algebra (fast-math), and denormals must not be flushed.
add_library(zefra_fp_flags INTERFACE)
if(MSVC)
  target_compile_options(zefra_fp_flags INTERFACE /fp:precise)
else()
  target_compile_options(zefra_fp_flags INTERFACE -ffp-contract=off -fno-fast-math)
endif()

# Warnings for the project's own code.  The developer presets make them
# errors (CMAKE_COMPILE_WARNING_AS_ERROR); a consumer's build, with another
# compiler version, only sees them.
add_library(zefra_warnings INTERFACE)
if(MSVC)
  target_compile_options(zefra_warnings INTERFACE /W4)
else()
  target_compile_options(zefra_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wdouble-promotion -Wformat=2)
endif()

if(ZEFRA_SANITIZE)
  if(MSVC)
    message(FATAL_ERROR "ZEFRA_SANITIZE needs GCC or Clang")
  endif()
  set(zefra_san_flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${zefra_san_flags})
  add_link_options(${zefra_san_flags})
endif()

if(ZEFRA_SANITIZE_THREAD)
  if(MSVC OR ZEFRA_SANITIZE)
    message(FATAL_ERROR "ZEFRA_SANITIZE_THREAD needs GCC or Clang and excludes ZEFRA_SANITIZE")
  endif()
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
