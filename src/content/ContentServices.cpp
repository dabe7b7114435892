#include "content/ContentServices.h"

#include "data/Settings.h"

ContentServices::ContentServices(const Services& services)
    : m_services(services), m_files(services.root.folder()), m_writer(services.store, m_files)
{}

int ContentServices::pictureLimitMb() const
{
    return m_services.settings.integer(Setting::PicMaxSize);
}

int ContentServices::fileLimitMb() const
{
    return m_services.settings.integer(Setting::FileMaxSize);
}
