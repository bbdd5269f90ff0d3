import QtQuick
import QtQuick.Controls

// A check box whose box stands out on a dark palette too. The style draws its edge a shade darker
// than the window and fills it with the base colour, which on a dark desktop leaves a black square
// on grey that reads as nothing; this edge is taken from the text colour instead.
CheckBox {
    id: box

    Accessible.name: text

    indicator: Rectangle {
        implicitWidth: 16
        implicitHeight: 16
        x: box.mirrored ? box.width - width - box.rightPadding : box.leftPadding
        y: box.topPadding + (box.availableHeight - height) / 2
        radius: 3
        color: box.checked ? palette.highlight : palette.base
        border.width: box.visualFocus ? 2 : 1
        border.color: box.checked || box.visualFocus
                      ? palette.highlight
                      : Qt.rgba(palette.text.r, palette.text.g, palette.text.b,
                                box.enabled ? 0.55 : 0.25)
        opacity: box.enabled ? 1 : 0.6

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
