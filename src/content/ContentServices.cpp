#include "content/ContentServices.h"

#include "data/Settings.h"

ContentServices::ContentServices(const DataRoot& root, Settings& settings, Store& store,
                                 Desktop& desktop, CurrentUser user)
    : m_settings(settings), m_store(store), m_desktop(desktop), m_files(root.folder()),
      m_writer(store, m_files), m_user(std::move(user))
{}

int ContentServices::pictureLimitMb() const
{
    return m_settings.integer(Setting::PicMaxSize);
}

int ContentServices::fileLimitMb() const
{
    return m_settings.integer(Setting::FileMaxSize);
}
