#include "config/inheritance.h"

using namespace Qt::Literals::StringLiterals;

QString inheritanceText(const QString &own, const QString &defaultValue)
{
    if (own.isEmpty()) {
        if (defaultValue.isEmpty())
            return u"Inherits the default (not set)"_s;
        return u"Inherits the default: "_s + defaultValue;
    }
    if (defaultValue.isEmpty())
        return u"Overrides the default"_s;
    return u"Overrides the default ("_s + defaultValue + u')';
}
