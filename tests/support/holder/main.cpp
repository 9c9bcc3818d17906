// Holds a settings file locked until its input ends. Argument: the file. Prints a line once it is held.
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
    sqlite3* database = nullptr;
    if (argc != 2 || sqlite3_open_v2(argv[1], &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "usage: file_holder FILE\n");
        return 2;
    }
    sqlite3_busy_timeout(database, 5000);
    if (sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "%s\n", sqlite3_errmsg(database));
        return 1;
    }
    std::puts("held");
    std::fflush(stdout);
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
    sqlite3_close(database);
    return 0;
}
