// varnookctl: the Varnook AI settings from a terminal, for machines without a desktop.
#include "ctl/cli.h"

#include "config/configfile.h"

#include <QCoreApplication>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char *argv[])
{
    // A file-size limit makes a save fail with "File too large" instead of ending the process.
    ConfigFile::ignoreFileSizeSignal();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"varnookctl"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VARNOOK_VERSION));
    return runVarnookCtl(QCoreApplication::arguments());
}
