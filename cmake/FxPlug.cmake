# What the filter class for FxPlug hosts is built with: OpenGL, and Objective-C with Foundation as
# veltrane_foundation. On systems other than macOS that is clang with GNUstep on GCC's runtime.
# VELTRANE_OBJECTIVE_C tells whether all of it is there.
set(VELTRANE_OBJECTIVE_C OFF)
add_library(veltrane_foundation INTERFACE)
set(OpenGL_GL_PREFERENCE LEGACY)  # libOpenGL lacks the entry points of extensions
find_package(OpenGL QUIET)

if(APPLE)
  enable_language(OBJC)
  enable_language(OBJCXX)
  target_compile_options(veltrane_foundation INTERFACE -fno-objc-arc)
  target_link_libraries(veltrane_foundation INTERFACE "-framework Foundation")
  set(VELTRANE_OBJECTIVE_C ON)
  return()
endif()

# The runtime's headers lie in GCC's own folder, which is searched last so that clang's come first.
file(GLOB gcc_folders /usr/lib/gcc/*/*/include)
find_path(VELTRANE_OBJC_INCLUDE objc/objc.h HINTS ${gcc_folders})
find_path(VELTRANE_GNUSTEP_INCLUDE Foundation/Foundation.h PATH_SUFFIXES GNUstep)
find_library(VELTRANE_GNUSTEP_BASE gnustep-base)
find_program(VELTRANE_CLANG clang)
find_program(VELTRANE_CLANGXX clang++)
foreach(part VELTRANE_CLANG VELTRANE_CLANGXX VELTRANE_OBJC_INCLUDE VELTRANE_GNUSTEP_INCLUDE
             VELTRANE_GNUSTEP_BASE OPENGL_gl_LIBRARY)
  if(NOT ${part})
    message(STATUS "The filter class for FxPlug hosts is left out: ${part} was not found; it needs "
                   "clang, GNUstep base, the Objective-C runtime of GCC and OpenGL")
    return()
  endif()
endforeach()
if(VELTRANE_SANITIZE AND NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
  message(STATUS "The filter class for FxPlug hosts is left out: with sanitizers all of it must be "
                 "compiled by clang, and the C++ compiler is ${CMAKE_CXX_COMPILER}")
  return()
endif()

if(NOT CMAKE_OBJC_COMPILER)
  set(CMAKE_OBJC_COMPILER ${VELTRANE_CLANG})
endif()
if(NOT CMAKE_OBJCXX_COMPILER)
  set(CMAKE_OBJCXX_COMPILER ${VELTRANE_CLANGXX})
endif()
enable_language(OBJC)
enable_language(OBJCXX)
target_include_directories(veltrane_foundation SYSTEM INTERFACE ${VELTRANE_GNUSTEP_INCLUDE})
target_compile_options(veltrane_foundation INTERFACE
  "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:SHELL:-fobjc-runtime=gcc -fexceptions -fobjc-exceptions \
-fconstant-string-class=NSConstantString -idirafter ${VELTRANE_OBJC_INCLUDE}>")
target_link_libraries(veltrane_foundation INTERFACE ${VELTRANE_GNUSTEP_BASE} objc)
set(VELTRANE_OBJECTIVE_C ON)
