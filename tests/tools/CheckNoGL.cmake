# Fails when a program that draws nothing links a GL library.
# -DPROGRAMS=<list of paths>
foreach(program IN LISTS PROGRAMS)
  execute_process(COMMAND ldd ${program} OUTPUT_VARIABLE libs RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "ldd failed on ${program}")
  endif()
  string(REGEX MATCHALL "lib(GL|GLU|GLEW|GLX|EGL|OpenGL)[^ ]*" gl "${libs}")
  if(gl)
    message(FATAL_ERROR "${program} links GL: ${gl}")
  endif()
endforeach()
