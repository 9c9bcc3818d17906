// What a recorder says is wrong, in the user's language.
#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <string>

namespace kvmon {

// The text of the code with its values; the recorder's own words for a code that is not known here, or that
// lacks a value. One line.
std::string ToldWords(const QString& words, const QString& code, const QJsonObject& values);
// Of what stands in an answer as "trouble", "trouble_code" and "trouble_values"; empty if nothing does.
std::string ToldWords(const QJsonObject& answer, const QString& name);

}  // namespace kvmon
