// Does nothing until it is ended: the yardstick for resident memory.
#include <unistd.h>

int main() {
    pause();
    return 0;
}
