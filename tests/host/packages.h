// Packages made by tests/support/make_package.sh for the tests of this folder.
#pragma once

#include <string>

// Runs the script with `options` (as a shell would read them) and gives the path of what it
// made, or an empty text. Files and the authority lie in a folder of the test run's own and are
// kept until its end, so the same options give the same file.
std::string make_package(const std::string& options);
// The certificate that the authority's signatures end in.
std::string authority_root();
// The folder they lie in.
std::string package_folder();
