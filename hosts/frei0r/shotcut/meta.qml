import QtQuick 2.0
import org.shotcut.qml 1.0

Metadata {
    type: Metadata.Filter
    name: 'Veltrane Green'
    keywords: 'green blue screen chroma key veltrane'
    mlt_service: 'frei0r.veltrane_green'
    qml: 'ui.qml'
}
