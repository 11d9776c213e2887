// SPDX-License-Identifier: Apache-2.0
//
// A Qt program with the C++ interface: prints the devices that come and go. Qt's main loop is GLib's here, so events
// are delivered in it.
#include <QCoreApplication>
#include <QString>
#include <QTextStream>

#include <srcwatch.hpp>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    const auto subscription = srcwatch::subscribe([&out](const srcwatch::Event& event) {
        if (const auto* detected = std::get_if<srcwatch::Detected>(&event))
            out << "port " << detected->port << ": " << QString::fromStdString(detected->name) << Qt::endl;
        const auto* connection = std::get_if<srcwatch::ConnectionChanged>(&event);
        if (connection != nullptr && !connection->plugged)
            out << "port " << connection->port << ": unplugged" << Qt::endl;
    });
    if (!subscription) return 1;
    out << "waiting for events" << Qt::endl;
    return QCoreApplication::exec();
}
