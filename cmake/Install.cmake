# What an installed copy holds: the library, its headers, and the files by which find_package and
# pkg-config find them.
include(CMakePackageConfigHelpers)

set(veltrane_headers
  imaging/frame_rows.h
  imaging/imaging.h
  imaging/row_memory.h
  imaging/sample.h
  imaging/threads.h
  keyer/entry.h
  keyer/key_inputs.h
  keyer/params.h
  keyer/pipeline.h
  keyer/settings.h
  settings/clean_plate.h
  settings/frame_keyer.h
  settings/frame_keyer_c.h
  settings/parameters.h
  settings/plate_shade.h
  settings/screen_color.h
  settings/settings.h
  settings/tune/look.h
  settings/tune/tune.h)
if(NOT VELTRANE_CORE_ONLY)
  list(APPEND veltrane_headers settings/presets.h)
endif()
foreach(header IN LISTS veltrane_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/veltrane/${folder})
endforeach()

install(TARGETS veltrane EXPORT VeltraneTargets)
install(EXPORT VeltraneTargets NAMESPACE Veltrane::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrane FILE VeltraneConfig.cmake)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
# Relative to the file itself, so that an installed copy may be moved.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/veltrane.pc.in ${CMAKE_CURRENT_BINARY_DIR}/veltrane.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VeltraneConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrane)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/veltrane.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
