// The entry: the process's own arguments as UTF-8, then the run.

#include "front/run_driver.h"
#include "platform/console.h"

int main(int count, char** values) {
    prepare_console();
    return run(native_arguments(count, values));
}
