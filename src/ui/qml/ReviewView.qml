import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What the run found and put forward without counting it yet: each one added to the month or
// left out, by the user.
SurfaceScroll {
    id: view

    required property QtObject close

    name: "Review"
    spacing: 6

    Label {
        Layout.fillWidth: true
        text: view.close.candidates.length > 0
              ? "The run found these in your photos and documents and is not sure they "
                + "belong to " + view.close.periodLabel + ". Add each to the month or "
                + "leave it out; nothing here counts until you do."
              : "Nothing to review. When the run finds something it is not sure belongs "
                + "to " + view.close.periodLabel + ", it waits here for you."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    ActionWords {
        Layout.fillWidth: true
        message: view.close.message
        error: view.close.errorText
    }

    Repeater {
        model: view.close.candidates

        CandidateRow {
            Layout.fillWidth: true
            close: view.close
        }
    }
}
