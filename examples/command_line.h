#pragma once

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

namespace example {

/// Reads the command line and runs `body`. Whatever goes wrong ends with one line that says what to do and exit code 2.
template <class Body>
int run(CLI::App& app, int argc, char** argv, Body body) {
  try {
    app.parse(argc, argv);
    body();
    return 0;
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), error.what());
    return 2;
  }
}

}  // namespace example
