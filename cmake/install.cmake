include(CMakePackageConfigHelpers)

install(TARGETS kluteida_tool kluteida_stereo_tool RUNTIME DESTINATION bin)
install(TARGETS kluteida EXPORT kluteidaTargets ARCHIVE DESTINATION lib)
install(FILES ${PROJECT_SOURCE_DIR}/kluteida.h DESTINATION include/kluteida)
foreach(dir IN LISTS KLUTEIDA_SUBSYSTEMS)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir}/ DESTINATION include/kluteida/${dir}
          FILES_MATCHING PATTERN "*.h"
          # internal to the library: the format readers and the correlation engine's parts
          PATTERN "formats" EXCLUDE
          PATTERN "correlation_*.h" EXCLUDE
          PATTERN "candidate_store.h" EXCLUDE
          PATTERN "window_source.h" EXCLUDE
          PATTERN "cfile.h" EXCLUDE
          PATTERN "coord_texts.h" EXCLUDE
          PATTERN "camera_files.h" EXCLUDE
          PATTERN "int_conversion.h" EXCLUDE
          PATTERN "terminate.h" EXCLUDE)
endforeach()

install(EXPORT kluteidaTargets NAMESPACE kluteida:: DESTINATION lib/cmake/kluteida)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kluteidaConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kluteidaConfig.cmake INSTALL_DESTINATION lib/cmake/kluteida)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kluteidaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kluteidaConfig.cmake
              ${PROJECT_BINARY_DIR}/kluteidaConfigVersion.cmake
        DESTINATION lib/cmake/kluteida)

configure_file(${PROJECT_SOURCE_DIR}/cmake/kluteida.pc.in ${PROJECT_BINARY_DIR}/kluteida.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kluteida.pc DESTINATION lib/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/docs/man/kluteida.1 ${PROJECT_SOURCE_DIR}/docs/man/kluteida-stereo.1
        DESTINATION share/man/man1)
