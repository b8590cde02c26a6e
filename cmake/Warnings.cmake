# The strict set; every warning is an error, unless the compiler is one that the checks do not know yet. It is for our
# own code, never for foreign sources.
option(XC_WERROR "Warnings are errors" ON)
set(XC_WARNINGS
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wundef -Wcast-align
    -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wextra-semi -Wformat=2 -Wno-format-nonliteral
    -Wunused -Wdouble-promotion $<$<BOOL:${XC_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND XC_WARNINGS -Wduplicated-cond -Wlogical-op -Wsuggest-override)
endif()
