// Stands in for the third-party programs that the sample package runs, under their names.
// Prints its name and arguments, and that all went well.
#include <cstdio>
#include <cstring>

int main(int count, char** arguments) {
    const char* const separator = std::strrchr(arguments[0], '\\');
    std::printf("stand-in for %s:", separator == nullptr ? arguments[0] : separator + 1);
    for (int i = 1; i < count; ++i)
        std::printf(" %s", arguments[i]);
    std::printf("\nOperation completed successfully.\n");
    return 0;
}
