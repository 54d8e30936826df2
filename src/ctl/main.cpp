// varnookctl: the Varnook AI settings from a terminal, for machines without a desktop.
#include "ctl/cli.h"

#include <QCoreApplication>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"varnookctl"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VARNOOK_VERSION));
    return runVarnookCtl(QCoreApplication::arguments());
}
