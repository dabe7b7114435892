#include "app/Startup.h"

namespace {
const QString PinyinFile = QStringLiteral("pylib.dll");
}

Startup::Startup(DataRoot root) : m_root(std::move(root)) {}

Startup::~Startup() = default;

Result<void> Startup::run()
{
    // Without a folder there is no config file either, and that is what the user is told.
    if (!m_root.ensureExists())
        return Error{QStringLiteral("配置文件不存在！")};
    if (Result<void> r = Settings::ensureFile(m_root.configPath()); !r)
        return r;
    m_settings = std::make_unique<Settings>(m_root.configPath());
    if (Result<void> r = m_settings->load(); !r)
        return r;

    if (Result<void> r = m_root.installShipped(PinyinFile); !r)
        m_warnings << r.message();
    if (Result<void> r = m_pinyin.loadLibFile(m_root.filePath(PinyinFile)); !r)
        m_warnings << r.message();
    else
        m_hasPinyin = true;

    m_store = std::make_unique<Store>(m_root.folder(), *m_settings);
    m_store->setPinyin(&m_pinyin);
    m_store->setPasswordPrompt(m_passwordPrompt);
    if (Result<void> r = m_store->open(); !r)
        return r;
    m_warnings << m_store->warnings();
    return {};
}
