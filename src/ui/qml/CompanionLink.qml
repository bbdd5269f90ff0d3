import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Where a phone opens the companion: its address, and a QR code of it for the phone's camera.
ColumnLayout {
    id: link

    required property var values // url, qrSize, qrModules

    spacing: 6
    onValuesChanged: code.requestPaint()

    SectionHeading {
        text: "Phone companion"
    }

    Label {
        Layout.fillWidth: true
        text: "Open this address on your phone to answer questions, tick lists and follow the close. It signs in with the record store's account."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    TextField {
        Layout.fillWidth: true
        readOnly: true
        selectByMouse: true
        text: link.values.url || ""
        Accessible.name: "Phone companion address"
    }

    Rectangle {
        // A light square with a quiet zone of four modules, whatever the theme: cameras need it.
        readonly property int modules: link.values.qrSize || 0
        readonly property int cell: modules > 0 ? Math.max(3, Math.floor(180 / (modules + 8))) : 0

        visible: modules > 0
        implicitWidth: cell * (modules + 8)
        implicitHeight: implicitWidth
        color: "white"
        Accessible.role: Accessible.Graphic
        Accessible.name: "QR code of the phone companion address"

        Canvas {
            id: code

            anchors.fill: parent
            anchors.margins: parent.cell * 4
            // A canvas asked to paint while hidden (a place not shown yet) stays blank otherwise.
            onVisibleChanged: if (visible) requestPaint()
            onPaint: {
                const context = getContext("2d")
                const size = link.values.qrSize || 0
                const dark = link.values.qrModules || []
                const cell = parent.cell
                context.reset()
                context.fillStyle = "black"
                for (let y = 0; y < size; ++y) {
                    for (let x = 0; x < size; ++x) {
                        if (dark[y * size + x])
                            context.fillRect(x * cell, y * cell, cell, cell)
                    }
                }
            }
        }
    }
}
