// catalog-check CATALOG CODESET: can reports that were written with this catalog be read back? Run by the build on each
// catalog that it compiled.
#include "catalog.h"

#include <exception>
#include <iostream>

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: catalog-check CATALOG CODESET\n";
        return 2;
    }
    try {
        const std::vector<std::string> faults = report::catalog(argv[1], argv[2]).faults();
        for (const std::string &fault : faults)
            std::cerr << argv[1] << ": message " << fault << '\n';
        return faults.empty() ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "catalog-check: " << error.what() << '\n';
        return 2;
    }
}
