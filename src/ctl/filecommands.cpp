// export, import and personas: the App page's backup and restore, and the persona files the
// soul-file menus offer.
#include "ctl/command.h"

#include "model/exportimport.h"
#include "config/personafiles.h"
#include "model/settingsmodel.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

int runExport(CommandContext &context)
{
    Output &out = context.out();
    const QString destination = context.argument(0);
    if (QFileInfo(destination).exists() || QFileInfo(destination).isSymLink()) {
        return out.fail(ExitCode::badInput, Output::plain(destination)
                                                + u" already exists; an export never replaces a "
                                                  "file"_s);
    }
    SettingsModel &model = context.model();
    if (!QFileInfo(model.path()).isFile())
        return out.fail(ExitCode::failed, u"there is no configuration file at "_s
                                              + Output::plain(model.path()) + u" to export"_s);
    if (!ExportImport::exportConfigTo(model, destination))
        return out.fail(ExitCode::failed,
                        u"could not copy the configuration to "_s + Output::plain(destination));
    return ExitCode::ok;
}

int runImport(CommandContext &context)
{
    Output &out = context.out();
    const QString source = context.argument(0);
    if (const std::optional<QString> problem = documentProblem(source, false))
        return out.fail(ExitCode::badInput, Output::plain(*problem));
    if (const int code = context.prepareWrite())
        return code;
    if (!ExportImport::importConfigFrom(context.model(), source))
        return context.session().writeFailed();
    return ExitCode::ok;
}

int runPersonas(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QStringList files = personaFiles(model.soulFile());
    if (out.json()) {
        out.json(QJsonObject{{u"folder"_s, personaFolder(model.soulFile())},
                             {u"files"_s, QJsonArray::fromStringList(files)}});
        return ExitCode::ok;
    }
    for (const QString &name : files)
        out.line(Output::plain(name));
    return ExitCode::ok;
}

} // namespace

QList<Command> fileCommands()
{
    using A = Command::Access;
    return {
        {{u"export"_s},
         u"Save a copy of the full configuration (including API keys) to a file"_s,
         u"The file is copied byte for byte and made readable by its owner only. An existing "
         "file is never replaced."_s,
         {{u"FILE"_s, u"Where the copy goes (the window proposes varnook-config.json)."_s}},
         {},
         A::Reads,
         false,
         runExport},
        {{u"import"_s},
         u"Load a configuration file and apply it immediately"_s,
         u"The file replaces the whole configuration: keys it lacks are gone, bots and "
         "providers are replaced as a whole. It is saved by the same rules as every save and "
         "the service is told to reload."_s,
         {{u"FILE"_s, u"A configuration file (a JSON object)."_s}},
         {},
         A::Writes,
         false,
         runImport},
        {{u"personas"_s},
         u"List the persona files the soul-file menus offer"_s,
         u"The .md files whose names hold \"soul\" or \"persona\", in the folder of the "
         "default soul_file."_s,
         {},
         {},
         A::Reads,
         true,
         runPersonas},
    };
}
