# What the programs and libraries that users get have in common: resources, start-up, and the package of them all.

# qv_windows_program(TARGET DESCRIPTION): a program of the product. It begins in wmain and carries manifest and icon.
function(qv_windows_program target description)
  include(program_icon)
  set(manifest "${PROJECT_SOURCE_DIR}/cmake/program.manifest")
  if(MINGW)
    target_link_options(${target} PRIVATE -municode)
    # As a resource: this linker embeds none itself.
    string(PREPEND qv_icon "CREATEPROCESS_MANIFEST_RESOURCE_ID RT_MANIFEST \"${manifest}\"\n")
  else()
    target_sources(${target} PRIVATE "${manifest}")
  endif()
  qv_resources(${target} "${description}" ${target}.exe VFT_APP "${qv_icon}")
endfunction()

# qv_windows_library(TARGET DESCRIPTION): a DLL of the product, which lies beside the programs.
function(qv_windows_library target description)
  set_target_properties(${target} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  qv_resources(${target} "${description}" ${target}.dll VFT_DLL "")
endfunction()

# What a file of the product needs beside its code.
function(qv_resources target description file type rest)
  qv_share_common_headers(${target} qv_headers)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/resources.rc.in" ${target}.rc @ONLY)
  target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
  set_property(GLOBAL APPEND PROPERTY QV_PRODUCT ${target})
endfunction()

# The target `package`: what users get, as zip files in the build folder.
function(qv_add_package)
  get_property(products GLOBAL PROPERTY QV_PRODUCT)
  list(TRANSFORM products REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE files)
  add_custom_target(package
    COMMAND "${CMAKE_COMMAND}" "-DPRODUCTS=${files}" "-DSOURCES=${PROJECT_SOURCE_DIR}" "-DVERSION=${PROJECT_VERSION}"
            "-DTIME=${QV_BUILD_TIME}" "-DDEPENDENCIES=${QV_WINDOWS_DEPENDENCIES}" "-DOBJCOPY=${CMAKE_OBJCOPY}"
            -P "${PROJECT_SOURCE_DIR}/cmake/package.cmake"
    DEPENDS ${products}
    WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
    COMMENT "Packing what users get"
    VERBATIM)
endfunction()
