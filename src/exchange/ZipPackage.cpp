#include "exchange/ZipPackage.h"

#include <QFile>
#include <algorithm>
#include <unzip.h>

namespace {

constexpr int IgnoreCase = 2;

} // namespace

ZipEntry::ZipEntry(void* zip) : m_zip(zip)
{
    QIODevice::open(QIODevice::ReadOnly);
}

ZipEntry::~ZipEntry()
{
    finish();
}

bool ZipEntry::finish()
{
    if (!m_open)
        return true;
    m_open = false;
    QIODevice::close();
    return unzCloseCurrentFile(m_zip) == UNZ_OK;
}

qint64 ZipEntry::readData(char* data, qint64 maxSize)
{
    const auto wanted = static_cast<unsigned>(std::min<qint64>(maxSize, 1 << 20));
    const int got = unzReadCurrentFile(m_zip, data, wanted);
    if (got < 0) {
        setErrorString(QStringLiteral("zip %1").arg(got));
        return -1;
    }
    return got;
}

ZipPackage::ZipPackage(const QString& path) : m_zip(unzOpen64(QFile::encodeName(path).constData()))
{}

ZipPackage::~ZipPackage()
{
    if (m_zip)
        unzClose(m_zip);
}

bool ZipPackage::contains(const QString& name) const
{
    return m_zip && unzLocateFile(m_zip, name.toUtf8().constData(), IgnoreCase) == UNZ_OK;
}

std::unique_ptr<ZipEntry> ZipPackage::open(const QString& name)
{
    if (!m_zip || unzLocateFile(m_zip, name.toUtf8().constData(), IgnoreCase) != UNZ_OK ||
        unzOpenCurrentFile(m_zip) != UNZ_OK)
        return nullptr;
    return std::make_unique<ZipEntry>(m_zip);
}
