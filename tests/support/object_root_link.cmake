# A source built with one root of objects links with a library of the same setting, and not with one of the other.
#
# Run by ctest with COMPILER, FLAGS, INCLUDE, LIBRARY, SETTING (that of the library) and FOLDER.

file(MAKE_DIRECTORY ${FOLDER})
set(source ${FOLDER}/object_root_link.cpp)
file(WRITE ${source} "#include \"util/quven_object_root.h\"\nint main() { return quvenObjectRootMark == nullptr; }\n")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")

foreach(setting 0 1)
  execute_process(
    COMMAND ${COMPILER} -std=c++20 ${flags} -DQUVEN_DEBUG_OBJECTS=${setting} -I${INCLUDE} ${source} ${LIBRARY}
            -o ${FOLDER}/object_root_link_${setting}
    RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(setting STREQUAL SETTING)
    if(NOT result EQUAL 0)
      message(FATAL_ERROR "A source of the library's own setting does not link:\n${text}")
    endif()
  elseif(result EQUAL 0)
    message(FATAL_ERROR "A source of the other setting links with the library")
  elseif(NOT text MATCHES "quven[A-Za-z]*CannotCoexistWith")
    message(FATAL_ERROR "The mark of the setting is not what is missing:\n${text}")
  endif()
endforeach()
