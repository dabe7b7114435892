#pragma once

#include <QString>
#include <optional>
#include <utility>
#include <variant>

// A user-facing failure: the text is shown as it stands in the message window.
struct Error {
    QString message;
    int code = 0; // the database engine's extended error code, when the failure came from it
};

// The outcome of an operation that can fail with a message for the user.
template <class T> class [[nodiscard]] Result {
public:
    Result(T value) : m_state(std::move(value)) {}
    Result(Error error) : m_state(std::move(error)) {}

    bool ok() const { return std::holds_alternative<T>(m_state); }
    explicit operator bool() const { return ok(); }

    const T& value() const& { return std::get<T>(m_state); }
    T& value() & { return std::get<T>(m_state); }
    T&& value() && { return std::get<T>(std::move(m_state)); }
    const T& operator*() const& { return value(); }
    const T* operator->() const { return &value(); }

    const Error& error() const { return std::get<Error>(m_state); }
    QString message() const { return ok() ? QString() : error().message; }

private:
    std::variant<T, Error> m_state;
};

template <> class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : m_error(std::move(error)) {}

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const Error& error() const { return *m_error; }
    QString message() const { return ok() ? QString() : m_error->message; }

private:
    std::optional<Error> m_error;
};
