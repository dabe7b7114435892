#pragma once

#include "content/ContentFiles.h"
#include "content/EntryWriter.h"
#include "content/FilePicker.h"
#include "data/Services.h"

// What every management window works with: the program's shared services, and the content
// windows' own file copies, writer and file picker. It outlives them all.
class ContentServices {
public:
    explicit ContentServices(const Services& services);

    Settings& settings() const { return m_services.settings; }
    Store& store() const { return m_services.store; }
    Desktop& desktop() const { return m_services.desktop; }
    const ContentFiles& files() const { return m_files; }
    EntryWriter& writer() { return m_writer; }
    const CurrentUser& user() const { return m_services.user; }

    FilePicker& picker() const { return *m_picker; }
    // Tests hand in a picker that answers without a window; nullptr restores the system's.
    void setPicker(FilePicker* picker) { m_picker = picker ? picker : &m_systemPicker; }

    int pictureLimitMb() const;
    int fileLimitMb() const;

private:
    Services m_services;
    ContentFiles m_files;
    EntryWriter m_writer;
    SystemFilePicker m_systemPicker;
    FilePicker* m_picker = &m_systemPicker;
};
