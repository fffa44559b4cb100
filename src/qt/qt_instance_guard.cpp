#include "qt_instance_guard.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

namespace td {

Qt_Instance_Guard::Qt_Instance_Guard(const std::string& program_folder) {
    QString folder = QFileInfo(QString::fromStdString(program_folder)).absoluteFilePath();
    QByteArray hash =
        QCryptographicHash::hash(folder.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty())
        runtime = QDir::tempPath();
    QDir().mkpath(runtime);
    lock_ =
        std::make_unique<QLockFile>(runtime + "/tallydepot-" + QString::fromLatin1(hash) + ".lock");
    lock_->setStaleLockTime(0);
}

Qt_Instance_Guard::~Qt_Instance_Guard() = default;

bool Qt_Instance_Guard::Acquire() {
    if (lock_->tryLock(0))
        return true;
    // A lock left by a process that no longer runs is removed once.
    if (lock_->error() == QLockFile::LockFailedError && lock_->removeStaleLockFile())
        return lock_->tryLock(0);
    return false;
}

void Qt_Instance_Guard::Release() {
    lock_->unlock();
}

} // namespace td
