#include "ctl/output.h"

#include <QJsonDocument>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

Output::Output()
    : m_out(stdout)
    , m_err(stderr)
{}

void Output::line(const QString &text)
{
    m_out << text << '\n';
    m_out.flush();
}

void Output::print(const QString &text)
{
    m_out << text;
    m_out.flush();
}

void Output::json(const QJsonObject &object)
{
    m_out << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
    m_out.flush();
}

void Output::json(const QJsonArray &array)
{
    m_out << QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented));
    m_out.flush();
}

int Output::fail(int code, const QString &message)
{
    warn(message);
    return code;
}

void Output::warn(const QString &message)
{
    // One line, whatever the message holds: scripts read the first line of stderr.
    QString text = plain(message);
    text.replace(u'\t', u' ');
    m_err << "varnookctl: " << text << '\n';
    m_err.flush();
}

QString Output::plain(const QString &text, bool keepLineBreaks)
{
    QString result = text;
    for (QChar &c : result) {
        const char16_t u = c.unicode();
        if (u == u'\t' || (keepLineBreaks && u == u'\n'))
            continue;
        if (u < 0x20 || (u >= 0x7f && u < 0xa0))
            c = QChar(0xfffd);
    }
    return result;
}
