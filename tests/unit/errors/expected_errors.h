// Every error number with the name and the text that programs see, typed here.
#ifndef TESTS_EXPECTED_ERRORS_H
#define TESTS_EXPECTED_ERRORS_H

#include <vector>

struct Expected_Error {
    int number;
    const char *name;
    const char *text;
};

const std::vector<Expected_Error> &expected_errors();

#endif
