import QtQuick
import QtQuick.Controls

// A check box whose box stands out on a dark palette too. The style draws its edge a shade darker
// than the window and fills it with the base colour, which on a dark desktop leaves a black square
// on grey that reads as nothing; this edge is taken from the text colour instead.
CheckBox {
    id: box

    Accessible.name: text
    spacing: 10 // room for the focus ring between the box and its words

    indicator: Rectangle {
        implicitWidth: 16
        implicitHeight: 16
        x: box.mirrored ? box.width - width - box.rightPadding : box.leftPadding
        y: box.topPadding + (box.availableHeight - height) / 2
        radius: 3
        color: box.checked ? palette.highlight : palette.base
        border.width: 1
        border.color: box.checked
                      ? palette.highlight
                      : Qt.rgba(palette.text.r, palette.text.g, palette.text.b,
                                box.enabled ? 0.55 : 0.25)
        opacity: box.enabled ? 1 : 0.6

        // The keyboard's place: a ring around the box, which a checked box's own colour
        // would otherwise hide.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            radius: parent.radius + 2
            color: "transparent"
            border.width: 2
            border.color: palette.highlight
            visible: box.visualFocus
        }

        Text {
            anchors.centerIn: parent
            visible: box.checkState !== Qt.Unchecked
            text: box.checkState === Qt.PartiallyChecked ? "–" : "✓"
            color: palette.highlightedText
            font.pixelSize: 12
            font.bold: true
        }
    }
}
