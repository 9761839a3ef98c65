# What `cmake --install` puts under the prefix, and how clients find it:
#
#   lib/libVideoDenoise.so.0.2.0 (soname libVideoDenoise.so.0), .so, .a
#   include/videodenoise/api/vdenoise.h ... (the public headers and every
#       header they include, in the source tree's layout; clients put
#       include/videodenoise on the include path and write "api/vdenoise.h")
#   lib/cmake/VideoDenoise/   find_package(VideoDenoise CONFIG):
#       VideoDenoise::VideoDenoise (shared), VideoDenoise::VideoDenoiseStatic
#   lib/pkgconfig/videodenoise.pc   (relocatable; Libs.private for -static)
#   bin/vdenoise
#
# The version lives in the project() line only; the soname carries its major
# number and api/vd_version.h (generated) carries all of it.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VD_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/videodenoise)
set(VD_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/VideoDenoise)

# api/vd_version.h in the build tree: VD_VERSION_STRING and its parts.
set(VD_GENERATED_INCLUDE_DIR ${PROJECT_BINARY_DIR}/generated)
configure_file(${PROJECT_SOURCE_DIR}/api/vd_version.h.in
               ${VD_GENERATED_INCLUDE_DIR}/api/vd_version.h @ONLY)
# Every object library of the library's own sources can include it.
function(vd_add_generated_include dir)
  get_property(targets DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "OBJECT_LIBRARY")
      target_include_directories(${target} PRIVATE ${VD_GENERATED_INCLUDE_DIR})
    endif()
  endforeach()
  get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
  foreach(subdir IN LISTS subdirs)
    vd_add_generated_include(${subdir})
  endforeach()
endfunction()
vd_add_generated_include(${PROJECT_SOURCE_DIR})

# Versioned shared library: libVideoDenoise.so -> .so.0 -> .so.0.2.0.
set_target_properties(VideoDenoise PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(VideoDenoiseStatic PROPERTIES
  EXPORT_NAME VideoDenoiseStatic)

# The static library is C++: a program linked by the C driver needs the C++
# runtime named (a C++ link brings it anyway). pkg-config says the same in
# Libs.private.
if(NOT ANDROID AND NOT APPLE)
  target_link_libraries(VideoDenoiseStatic INTERFACE
                        "$<$<LINK_LANGUAGE:C>:stdc++>")
endif()

# The same names inside this build as after find_package, for projects that
# add this tree with add_subdirectory.
add_library(VideoDenoise::VideoDenoise ALIAS VideoDenoise)
add_library(VideoDenoise::VideoDenoiseStatic ALIAS VideoDenoiseStatic)

# The source tree is on the libraries' include path for this build only; once
# installed, include/videodenoise takes its place. Directories already given
# as BUILD_INTERFACE or INSTALL_INTERFACE are left as they are.
foreach(lib VideoDenoise VideoDenoiseStatic)
  get_target_property(dirs ${lib} INTERFACE_INCLUDE_DIRECTORIES)
  set(wrapped "")
  foreach(dir IN LISTS dirs)
    if(dir AND NOT dir MATCHES "^\\$<")
      list(APPEND wrapped "$<BUILD_INTERFACE:${dir}>")
    elseif(dir)
      list(APPEND wrapped "${dir}")
    endif()
  endforeach()
  list(APPEND wrapped "$<BUILD_INTERFACE:${VD_GENERATED_INCLUDE_DIR}>"
                      "$<INSTALL_INTERFACE:${VD_INSTALL_INCLUDEDIR}>")
  set_property(TARGET ${lib} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
endforeach()

install(TARGETS VideoDenoise VideoDenoiseStatic
  EXPORT VideoDenoiseTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
          NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)

# Public headers: the engine API, the process-wide API and the toolbox, with
# every project header they include (found by following their quoted
# includes), each at its path in the source tree.
set(VD_PUBLIC_HEADERS api/vdenoise.h api/video_denoise.h api/vd_toolbox.h)
set(VD_INSTALL_HEADERS "")
set(pending ${VD_PUBLIC_HEADERS})
while(pending)
  list(POP_FRONT pending header)
  if(header IN_LIST VD_INSTALL_HEADERS OR
     NOT EXISTS ${PROJECT_SOURCE_DIR}/${header})
    continue()
  endif()
  list(APPEND VD_INSTALL_HEADERS ${header})
  file(STRINGS ${PROJECT_SOURCE_DIR}/${header} includes
       REGEX "^[ \t]*#[ \t]*include[ \t]+\"[^\"]+\"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE ".*\"([^\"]+)\".*" "\\1" included "${line}")
    list(APPEND pending ${included})
  endforeach()
endwhile()
foreach(header IN LISTS VD_INSTALL_HEADERS)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
          DESTINATION ${VD_INSTALL_INCLUDEDIR}/${dir} COMPONENT Development)
endforeach()
install(FILES ${VD_GENERATED_INCLUDE_DIR}/api/vd_version.h
        DESTINATION ${VD_INSTALL_INCLUDEDIR}/api COMPONENT Development)

# CMake package.
install(EXPORT VideoDenoiseTargets
  NAMESPACE VideoDenoise::
  DESTINATION ${VD_INSTALL_CMAKEDIR} COMPONENT Development)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/VideoDenoiseConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VideoDenoiseConfig.cmake
  INSTALL_DESTINATION ${VD_INSTALL_CMAKEDIR})
# 0.x releases promise nothing across minor versions.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/VideoDenoiseConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VideoDenoiseConfig.cmake
              ${PROJECT_BINARY_DIR}/VideoDenoiseConfigVersion.cmake
        DESTINATION ${VD_INSTALL_CMAKEDIR} COMPONENT Development)

# pkg-config: paths relative to the .pc file, so that any --prefix works.
set(VD_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VD_PC_TO_PREFIX /${VD_PKGCONFIG_DIR} /)
string(REGEX REPLACE "/$" "" VD_PC_TO_PREFIX "${VD_PC_TO_PREFIX}")
set(VD_PC_LIBS_PRIVATE "-lstdc++ -lpthread -lm")
if(ANDROID)
  string(APPEND VD_PC_LIBS_PRIVATE " -llog")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/videodenoise.pc.in
               ${PROJECT_BINARY_DIR}/videodenoise.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/videodenoise.pc
        DESTINATION ${VD_PKGCONFIG_DIR} COMPONENT Development)

if(TARGET vdenoise)
  install(TARGETS vdenoise RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
          COMPONENT Runtime)
endif()

# The install test: installs this build into a temporary prefix and builds
# three small clients against that tree alone. Sanitizer builds are left out
# (their libraries need the sanitizer runtime in every client).
if(VD_BUILD_TESTS AND NOT CMAKE_CROSSCOMPILING AND
   NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
  add_test(NAME install_test
           COMMAND bash ${PROJECT_SOURCE_DIR}/tests/install/install_test.sh
                   ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/install_test
                   ${PROJECT_VERSION})
  set_tests_properties(install_test PROPERTIES TIMEOUT 300)
endif()
