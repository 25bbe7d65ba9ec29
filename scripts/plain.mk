# The program from a compiler and make alone: nothing is configured, installed or fetched. The Makefile includes this
# where CMake is missing and for farms of test machines, which call
#   make -j EXE=name [CXX=compiler] [EVALFILE=network]
# EXE is where the program is copied to (on Windows with .exe), EVALFILE the network that it embeds.
# Each choice of the three has a build folder of its own.
PLAIN := build/plain/$(shell printf '%s' '$(CXX) $(EXE) $(EVALFILE)' | cksum | cut -d ' ' -f 1)
WINDOWS := $(findstring mingw,$(shell $(CXX) -dumpmachine))$(findstring windows,$(shell $(CXX) -dumpmachine))
SUFFIX := $(if $(WINDOWS),.exe)
PROGRAM := $(PLAIN)/tarn$(SUFFIX)
FOREIGN := $(if $(WINDOWS),%_posix.cpp,%_windows.cpp)
ROOMS := platform frontend/base position eval syzygy book search tools frontend

# Flags and version are those of CMakeLists.txt. Link-time optimisation is a matter of the linker as well.
FLAGS := -std=c++20 -pthread -DTARN_VERSION='"$(VERSION)"' \
         $(shell sed -n '/^add_compile_options(/,/)/ { s/.*(//; s/).*//; p; }' CMakeLists.txt) \
         $(shell sed -n 's/^set(CMAKE_CXX_FLAGS_RELEASE "\(.*\)").*/\1/p' CMakeLists.txt)
FLAGS += $(shell mkdir -p $(PLAIN); echo 'int main() {}' | $(CXX) -flto=auto -x c++ -o $(PLAIN)/probe - 2>/dev/null && \
           echo -flto=auto)
LIBRARIES := $(if $(WINDOWS),-static -lwinmm)

OBJECTS := $(patsubst %,$(PLAIN)/%/objects,$(ROOMS)) $(PLAIN)/embedded_data.o
SOURCES_ALL := $(shell find Source -name '*.cpp' -o -name '*.h') CMakeLists.txt

tarn: $(PROGRAM)
	@$(if $(EXE),cp $< "$(EXE)$(if $(filter %.exe,$(EXE)),,$(SUFFIX))")

$(PROGRAM): $(OBJECTS)
	$(CXX) $(FLAGS) $(PLAIN)/*/*.o $(PLAIN)/frontend/base/*.o $(PLAIN)/embedded_data.o -o $@ $(LIBRARIES)

# A room at a time, so that `make -j` without a number starts no hundred compilers.
$(PLAIN)/%/objects: $(SOURCES_ALL)
	@mkdir -p $(@D)
	cd $(@D) && $(CXX) $(FLAGS) -I"$(CURDIR)/Source" -c \
	    $(patsubst %,"$(CURDIR)/%",$(filter-out $(FOREIGN) %/main.cpp,$(wildcard Source/$*/*.cpp)) \
	        $(if $(filter frontend,$*),Source/frontend/main.cpp))
	@touch $@

# The assembler looks for the network in the first folder that has it.
$(PLAIN)/embedded_data.o: Source/eval/embedded_data.S $(or $(EVALFILE),Source/eval/embedded.nn) Source/eval/default_params.txt
	@mkdir -p $(@D)
	@cp $(if $(EVALFILE),"$(EVALFILE)",Source/eval/embedded.nn) $(@D)/embedded.nn
	$(CXX) -I$(@D) -ISource/eval -c $< -o $@
