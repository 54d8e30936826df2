#pragma once

#include <QStringList>

// Runs varnookctl with its command line (the program name first) and returns the exit code.
int runVarnookCtl(const QStringList &arguments);
