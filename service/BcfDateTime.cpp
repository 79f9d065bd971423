#include "service/BcfDateTime.h"

#include <QDateTime>

namespace VeldaClient {

namespace {
const char* const kViewFormat = "yyyy-MM-dd hh:mm";
}

QString BcfDateTime::toIso(const std::string& viewTime)
{
    QDateTime time = QDateTime::fromString(QString::fromStdString(viewTime), kViewFormat);
    if (!time.isValid()) {
        time = QDateTime::currentDateTime();
        time.setTime(QTime(time.time().hour(), time.time().minute()));
    }
    // Written with its offset: a reader elsewhere gets the same instant.
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODate);
}

std::string BcfDateTime::toViewTime(const QString& iso)
{
    const QString text = iso.trimmed().left(64);
    QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!time.isValid())
        time = QDateTime::fromString(text, Qt::ISODate);
    if (!time.isValid())
        return std::string();
    return time.toLocalTime().toString(kViewFormat).toStdString();
}

} // namespace VeldaClient
