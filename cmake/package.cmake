# Packs the product: run by the target `package` in the build folder.
#
# Two zip files: programs and libraries without their debug information, documents and licences; and the debug
# information, in a file for each. All names, times and orders are those of the commit, so that two builds of one commit
# are the same byte for byte.
cmake_minimum_required(VERSION 3.25)

set(name "pdb_server-${VERSION}-windows-x64")
set(stage "${CMAKE_CURRENT_BINARY_DIR}/package")
file(REMOVE_RECURSE "${stage}")
file(MAKE_DIRECTORY "${stage}/${name}/licences" "${stage}/${name}-debug")

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The stripped copies carry no time of day either.
set(ENV{SOURCE_DATE_EPOCH} 0)

foreach(product IN LISTS PRODUCTS)
  cmake_path(GET product FILENAME file)
  set(debug "${stage}/${name}-debug/${file}.debug")
  run("${OBJCOPY}" --only-keep-debug "${product}" "${debug}")
  run("${OBJCOPY}" --strip-all "--add-gnu-debuglink=${debug}" "${product}" "${stage}/${name}/${file}")
endforeach()

file(COPY "${SOURCES}/README.md" "${SOURCES}/docs" DESTINATION "${stage}/${name}")

# The texts of what is linked, as the machine's packages and Boost's sources carry them.
set(licences "${stage}/${name}/licences")
foreach(pair IN ITEMS "libz-mingw-w64-dev zlib" "gcc-mingw-w64-base gcc-runtime" "mingw-w64-x86-64-dev mingw-w64-runtime")
  string(REPLACE " " ";" pair "${pair}")
  list(GET pair 0 package)
  list(GET pair 1 text)
  configure_file("/usr/share/doc/${package}/copyright" "${licences}/${text}.txt" COPYONLY)
endforeach()
configure_file("${DEPENDENCIES}/LICENSE_1_0.txt" "${licences}/boost.txt" COPYONLY)

# Of an entry's times only that of the commit is kept.
set(ENV{TZ} UTC)
find_program(ZIP zip REQUIRED)
foreach(folder IN ITEMS ${name} ${name}-debug)
  file(GLOB_RECURSE files RELATIVE "${stage}" "${stage}/${folder}/*")
  list(SORT files)
  set(archive "${CMAKE_CURRENT_BINARY_DIR}/${folder}.zip")
  file(REMOVE "${archive}")
  run("${CMAKE_COMMAND}" -E chdir "${stage}" touch -d "${TIME}" ${files})
  run("${CMAKE_COMMAND}" -E chdir "${stage}" "${ZIP}" -q -X "${archive}" ${files})
  message("${archive}")
endforeach()
