# Installs the build into a scratch folder, builds the host program of README.md against it, and runs both programs.
#
#   cmake -D BUILD=... -D SCRATCH=... -D BINDIR=... -D COMPILER=... -D FLAGS=... -P package_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()
function(expect text)
  string(FIND "${output}" "${text}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "no \"${text}\" in\n${output}")
  endif()
endfunction()

get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(sample ${root}/samples/blinky/blinky.elf)
file(REMOVE_RECURSE ${SCRATCH})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${SCRATCH}/package)

file(READ ${root}/README.md readme)
if(NOT readme MATCHES "```cpp\n([^`]*)```")
  message(FATAL_ERROR "README.md has no example")
endif()
file(WRITE ${SCRATCH}/example.cpp "${CMAKE_MATCH_1}")
run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${SCRATCH}/build -G Ninja -D CMAKE_BUILD_TYPE=Release
  -D CMAKE_CXX_COMPILER=${COMPILER} -D "CMAKE_CXX_FLAGS=${FLAGS}" -D CMAKE_PREFIX_PATH=${SCRATCH}/package
  -D EXAMPLE=${SCRATCH}/example.cpp)
run(${CMAKE_COMMAND} --build ${SCRATCH}/build)
file(READ ${SCRATCH}/build/module.txt module)
run(${SCRATCH}/build/consumer ${module} ${sample})
expect("main.c: main")

run(${SCRATCH}/package/${BINDIR}/elfload modules ${sample})
expect("main.c")
