#pragma once

#include <QIODevice>
#include <QString>
#include <memory>

// One entry of a zip file, read as it is unpacked.
class ZipEntry : public QIODevice {
public:
    explicit ZipEntry(void* zip);
    ~ZipEntry() override;
    bool isSequential() const override { return true; }
    // Closes the entry; false when it was read to its end and its checksum does not match.
    bool finish();

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    void* m_zip;
    bool m_open = true;
};

// A zip file read entry by entry through the system's minizip, the same library the workbook
// writer uses: one copy of minizip in the process, so the two never bind to each other's
// functions of the same name.
class ZipPackage {
public:
    explicit ZipPackage(const QString& path);
    ~ZipPackage();
    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    bool isValid() const { return m_zip != nullptr; }
    bool contains(const QString& name) const;
    // The entry `name` (letter case ignored), or nullptr when there is none. One entry can be
    // open at a time: the last one must be gone before the next call.
    std::unique_ptr<ZipEntry> open(const QString& name);

private:
    void* m_zip = nullptr;
};
