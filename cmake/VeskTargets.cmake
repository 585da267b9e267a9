# How every target of the house is compiled, and the one-line helpers that make one.
# Sources are picked up from the folders: a file on disk is a file that is built.

add_library(vesk_options INTERFACE)
target_compile_options(vesk_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                              -Woverloaded-virtual -ffp-contract=off)
if(VESK_WERROR)
  target_compile_options(vesk_options INTERFACE -Werror)
endif()

# vesk_add_program(name): the sources of src/main/<name> and of the folders in it, without main.cpp, become the library
# <name>_lib, which tests link; main.cpp becomes the program.
function(vesk_add_program name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp
       ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  set(library "${name}_lib")
  add_library(${library} STATIC ${sources})
  target_include_directories(${library} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/${name})
  target_link_libraries(${library} PUBLIC vesk_core PRIVATE vesk_options)
  add_executable(${name} ${CMAKE_CURRENT_SOURCE_DIR}/${name}/main.cpp)
  target_link_libraries(${name} PRIVATE ${library} vesk_options)
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()

# vesk_link_whole(interface archive): who links the interface gets every object of the archive. An installed package names
# the archive by its exported name, which CMake does not put inside the expression by itself.
function(vesk_link_whole interface archive)
  target_link_libraries(${interface} INTERFACE
    $<BUILD_INTERFACE:$<LINK_LIBRARY:WHOLE_ARCHIVE,${archive}>>
    $<INSTALL_INTERFACE:$<LINK_LIBRARY:WHOLE_ARCHIVE,vesk::${archive}>>)
endfunction()
