#include "HelperProgram.h"

int main(int argc, char** argv) {
    return HelperProgram::main(argc, argv);
}
