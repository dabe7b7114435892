#include "content/EntryValidator.h"

QString EntryValidator::text(const FieldDef& field, const EntryValues& values)
{
    const QString typed = values.fields.value(field.column).toString();
    return field.trim ? typed.trimmed() : typed;
}

QString EntryValidator::missingMessage(const FieldDef& field, SaveContext context)
{
    if (context.editing && !field.missingOnEdit.isEmpty())
        return field.missingOnEdit;
    if (!context.editing && context.inNewDialog && !field.missingInNew.isEmpty())
        return field.missingInNew;
    return field.missing;
}

std::optional<QString> EntryValidator::firstFailure(const KindDescriptor& kind,
                                                    const EntryValues& values, SaveContext context)
{
    for (const FieldDef& f : kind.fields) {
        bool required = !f.missing.isEmpty();
        if (!f.requiredWith.isEmpty())
            required = required && values.fields.value(f.requiredWith).toInt() == 1;

        switch (f.type) {
        case FieldType::Line:
        case FieldType::Text:
        case FieldType::ToolPath: {
            const QString t = text(f, values);
            if (required && t.isEmpty())
                return missingMessage(f, context);
            if (f.refuseOver > 0 && t.size() > f.refuseOver)
                return f.tooLong;
            break;
        }
        case FieldType::Category:
            if (required && values.fields.value(f.column).toLongLong() <= 0)
                return missingMessage(f, context);
            break;
        case FieldType::File:
        case FieldType::Picture:
            if (required && !values.hasAttachment())
                return missingMessage(f, context);
            break;
        case FieldType::Check:
        case FieldType::ToolKind:
            break;
        }
    }
    return std::nullopt;
}
