#include "PremiereXml.h"

QByteArray premiereProjectXml(const QString& recorded) {
    QByteArray xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<PremiereData Version=\"3\">\n"
        "\t<Project ObjectRef=\"1\"/>\n"
        "\t<Project ObjectID=\"1\" ClassID=\"62ad66dd-0dcd-42da-a660-6d8fbde94876\" Version=\"1\">\n"
        "\t\t<Node Version=\"1\">\n\t\t\t<Properties Version=\"1\">\n";
    if (!recorded.isNull())
        xml += "\t\t\t\t<project.settings.lastknowngoodprojectpath>" + recorded.toHtmlEscaped().toUtf8() +
               "</project.settings.lastknowngoodprojectpath>\n";
    return xml + "\t\t\t</Properties>\n\t\t</Node>\n\t</Project>\n</PremiereData>\n";
}
