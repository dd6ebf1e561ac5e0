# The program in README.md is examples/first_program.cc, character by character.
cmake_minimum_required(VERSION 3.25)
file(READ ${SOURCE_DIR}/README.md readme)
file(READ ${SOURCE_DIR}/examples/first_program.cc program)
string(FIND "${readme}" "```cpp\n${program}```\n" position)
if(position EQUAL -1)
  message(FATAL_ERROR "README.md does not show examples/first_program.cc as it is")
endif()
