import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The body of the letter on a sheet: the written paragraphs, and grey lines where the run has
// not written yet.
Rectangle {
    id: paper

    required property QtObject letter

    implicitHeight: body.implicitHeight + 40
    color: palette.base
    border.color: palette.mid
    radius: 4

    ColumnLayout {
        id: body

        anchors.fill: parent
        anchors.margins: 20
        spacing: 12

        Label {
            Layout.fillWidth: true
            visible: paper.letter.proseKind === "skeleton"
            text: paper.letter.greeting
            color: paper.palette.text
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Repeater {
            model: paper.letter.paragraphs

            LetterParagraph {}
        }

        Repeater {
            model: paper.letter.proseKind === "written" ? 0 : paper.letter.ghostLines

            Rectangle {
                required property int index

                Layout.preferredWidth: body.width * (index === 2 ? 0.55 : 0.92)
                Layout.preferredHeight: 10
                radius: 5
                color: paper.palette.mid
                opacity: 0.35
            }
        }

        Label {
            Layout.fillWidth: true
            visible: paper.letter.proseKind !== "written"
            text: paper.letter.proseKind === "filling" ? "Still writing…"
                                                       : "The run has not written the letter yet."
            font.italic: true
            color: paper.palette.text
            opacity: 0.6
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Repeater {
            model: paper.letter.paragraphsAfter

            LetterParagraph {}
        }

        Label {
            Layout.fillWidth: true
            visible: paper.letter.proseKind === "skeleton"
            text: paper.letter.signOff
            color: paper.palette.text
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
