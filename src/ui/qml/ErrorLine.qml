import QtQuick
import QtQuick.Controls

// The words of a failed action, shown until the next action.
Label {
    visible: text.length > 0
    wrapMode: Text.Wrap
    color: "#d04437"
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
}
