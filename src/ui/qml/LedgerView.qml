import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The period's lines with their amounts and what backs each, the total, and apart the lines
// that nothing backs yet.
SurfaceScroll {
    id: view

    required property QtObject close

    name: "Ledger"
    spacing: 4

    Label {
        Layout.fillWidth: true
        text: view.close.ledgerSummary
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: view.close.ledger

        LedgerLine {
            Layout.fillWidth: true
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Layout.topMargin: 4
        visible: view.close.totals.length > 0

        Label {
            Layout.fillWidth: true
            text: "Total"
            font.bold: true
        }

        Label {
            text: view.close.totals.join("\n")
            font.bold: true
            horizontalAlignment: Text.AlignRight
            Accessible.role: Accessible.StaticText
            Accessible.name: "Total: " + view.close.totals.join(", ")
        }
    }

    SectionHeading {
        visible: view.close.unbacked.length > 0
        text: "Nothing behind these yet"
    }

    Label {
        Layout.fillWidth: true
        visible: view.close.unbacked.length > 0
        text: "These lines have an amount and no receipt or photo. The run keeps looking; "
              + "anything still missing goes over flagged, not guessed at."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: view.close.unbacked

        LedgerLine {
            Layout.fillWidth: true
        }
    }
}
