#pragma once

#include "content/ContentFiles.h"
#include "content/EntryWriter.h"
#include "content/FilePicker.h"
#include "data/DataRoot.h"
#include "users/CurrentUser.h"

class Desktop;
class Settings;
class Store;

// What every management window works with; it outlives them all.
class ContentServices {
public:
    ContentServices(const DataRoot& root, Settings& settings, Store& store, Desktop& desktop,
                    CurrentUser user);

    Settings& settings() const { return m_settings; }
    Store& store() const { return m_store; }
    Desktop& desktop() const { return m_desktop; }
    const ContentFiles& files() const { return m_files; }
    EntryWriter& writer() { return m_writer; }
    const CurrentUser& user() const { return m_user; }

    FilePicker& picker() const { return *m_picker; }
    // Tests hand in a picker that answers without a window; nullptr restores the system's.
    void setPicker(FilePicker* picker) { m_picker = picker ? picker : &m_systemPicker; }

    int pictureLimitMb() const;
    int fileLimitMb() const;

private:
    Settings& m_settings;
    Store& m_store;
    Desktop& m_desktop;
    ContentFiles m_files;
    EntryWriter m_writer;
    CurrentUser m_user;
    SystemFilePicker m_systemPicker;
    FilePicker* m_picker = &m_systemPicker;
};
