#pragma once

#include <QString>
#include <QStringList>

class DataRoot;
class Settings;

// The prompt sound of the confirmation window. Deciding is separate from playing, so the rule
// can be checked without a sound device. No multimedia library: the system's own player.
class SoundPlayer {
public:
    static QString fileName() { return QStringLiteral("sound.wav"); }

    // `filePath` when the sound is on and the file exists; otherwise empty.
    static QString promptSound(bool on, const QString& filePath);
    // The data root's sound.wav under the same rule.
    static QString promptSound(const Settings& settings, const DataRoot& root);

    // The program and its arguments that play `filePath` outside Windows: paplay, else aplay,
    // looked up in `searchPaths` (empty: PATH). Empty when neither is found.
    static QStringList playerCommand(const QString& filePath, const QStringList& searchPaths = {});

    // Starts playing without waiting for the end. False when nothing could be started.
    static bool play(const QString& filePath);
};
