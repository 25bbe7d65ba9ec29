# What a Windows program carries beside its code: icon, version and manifest (packaging/tarn.rc.in).
enable_language(RC)

# Without leading zeros, which would make it octal.
string(REGEX REPLACE "^0+(.)" "\\1" TARN_VERSION_MINOR "${PROJECT_VERSION_MINOR}")
configure_file(${CMAKE_SOURCE_DIR}/packaging/tarn.rc.in ${CMAKE_BINARY_DIR}/tarn.rc @ONLY)
set_property(SOURCE ${CMAKE_BINARY_DIR}/tarn.rc APPEND PROPERTY OBJECT_DEPENDS
             "${CMAKE_SOURCE_DIR}/packaging/tarn.ico"
             "${CMAKE_SOURCE_DIR}/packaging/tarn.manifest")

function(tarn_windows_resources target)
  target_sources(${target} PRIVATE ${CMAKE_BINARY_DIR}/tarn.rc)
endfunction()
